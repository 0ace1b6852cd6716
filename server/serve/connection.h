// One connection: login, then request after request. Whatever goes wrong ends this connection with
// a log line and nothing else.
#ifndef QRX_SERVER_SERVE_CONNECTION_H
#define QRX_SERVER_SERVE_CONNECTION_H

#include <asio.hpp>
#include <memory>
#include <string>

#include "codec/wire.h"
#include "serve/answers.h"
#include "serve/server.h"
#include "serve/turns.h"

namespace qrx::server {

// What takes longer than a network thread may be held. Logins do not wait for formulas, and a
// user's formulas not for all of another's.
struct ServePools {
    static constexpr int kFormulas = 2;
    asio::thread_pool passwords{2};
    asio::thread_pool formulas{kFormulas};
    Turns turns{kFormulas};
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(asio::ip::tcp::socket socket, Store& store, ServePools& pools,
               const ServeOptions& options);

    asio::awaitable<void> Run();

private:
    asio::awaitable<void> ReadRequest(ZPMDefine_MessageHead& head, std::string& strBody);
    asio::awaitable<void> LogIn(const ZPMDefine_MessageHead& head, std::string strBody);
    asio::awaitable<std::unique_ptr<Answer>> Answered(const ZPMDefine_MessageHead& head,
                                                      const std::string& strBody);
    asio::awaitable<void> Write(const std::string& strPacket);

    // Closes the socket when the time is over before it is set anew.
    void ExpectWithin(std::chrono::seconds time);

    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_deadline;
    Store& m_store;
    ServePools& m_pools;
    const ServeOptions& m_options;
    std::string m_strPeer;
    UserRow m_user;
    bool m_bLoggedIn = false;
    bool m_bExpired = false;
    int m_nLogins = 0;
};

}  // namespace qrx::server

#endif
