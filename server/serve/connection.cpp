// The life of a connection as one coroutine.
#include "serve/connection.h"

#include <poll.h>

#include <cstring>

#include "serve/log.h"
#include "support/strings.h"
#include "text/printable.h"
#include "users/password.h"

namespace qrx::server {

namespace {

std::string PeerName(const asio::ip::tcp::socket& socket) {
    asio::error_code error;
    const auto peer = socket.remote_endpoint(error);
    if (error) return "unknown peer";
    return peer.address().to_string() + ":" + std::to_string(peer.port());
}

// Whether the peer has closed its side, with requests of its own unread or without.
bool HasLeft(asio::ip::tcp::socket& socket) {
    pollfd look{socket.native_handle(), POLLRDHUP, 0};
    return poll(&look, 1, 0) > 0;
}

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, Store& store, ServePools& pools,
                       const ServeOptions& options)
    : m_socket(std::move(socket)),
      m_deadline(m_socket.get_executor()),
      m_store(store),
      m_pools(pools),
      m_options(options),
      m_strPeer(PeerName(m_socket)) {
    asio::error_code ignored;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    m_socket.set_option(asio::socket_base::keep_alive(true), ignored);
}

void Connection::ExpectWithin(std::chrono::seconds time) {
    m_deadline.expires_after(time);
    m_deadline.async_wait([pSelf = weak_from_this()](asio::error_code error) {
        const auto pConnection = pSelf.lock();
        // A timer that was set anew while this handler was queued has not expired.
        if (error || !pConnection) return;
        if (pConnection->m_deadline.expiry() > asio::steady_timer::clock_type::now()) return;
        pConnection->m_bExpired = true;
        asio::error_code ignored;
        pConnection->m_socket.close(ignored);
    });
}

asio::awaitable<void> Connection::ReadRequest(ZPMDefine_MessageHead& head, std::string& strBody) {
    if (m_bLoggedIn) {
        ExpectWithin(m_options.idle);
        co_await m_socket.async_wait(asio::socket_base::wait_read, asio::use_awaitable);
        ExpectWithin(m_options.stall);
    }
    co_await asio::async_read(m_socket, asio::buffer(&head, sizeof head), asio::use_awaitable);
    CheckHead(head);
    if (!m_bLoggedIn && head.sDataType != ID_ZPMTELE_LOGIN) {
        throw ProtocolError("request before login");
    }
    strBody.resize(static_cast<size_t>(head.nDataLen));
    co_await asio::async_read(m_socket, asio::buffer(strBody), asio::use_awaitable);
}

asio::awaitable<void> Connection::Write(const std::string& strPacket) {
    ExpectWithin(m_options.stall);
    co_await asio::async_write(m_socket, asio::buffer(strPacket), asio::use_awaitable);
}

asio::awaitable<void> Connection::LogIn(const ZPMDefine_MessageHead& head, std::string strBody) {
    if (m_bLoggedIn) throw ProtocolError("second login");
    ZPMDefine_Login login;
    memcpy(&login, strBody.data(), sizeof login);
    const std::string strName = FieldText(login.chUser);
    const std::string strPassword = FieldText(login.chPassword);
    auto user = m_store.FindUser(strName);
    const std::string strHash = user ? user->strHash : std::string();
    const bool bRight = co_await asio::co_spawn(
        m_pools.passwords,
        [&]() -> asio::awaitable<bool> { co_return CheckPassword(strPassword, strHash); },
        asio::use_awaitable);

    // One text for both, so that nobody learns which names exist.
    std::string strRefusal;
    if (!bRight) {
        strRefusal = "unknown user or wrong password";
    } else if (user->vecMarkets.empty()) {
        strRefusal = "no markets are open to this user";
    }
    m_bLoggedIn = strRefusal.empty();
    if (m_bLoggedIn) m_user = std::move(*user);
    Log(m_strPeer + " user \"" + Printable(strName) +
        (m_bLoggedIn ? "\" logged in" : "\" refused: " + strRefusal));
    co_await Write(MakeLoginAnswer(m_store, m_user, head.nRequestID, strRefusal));
    if (!m_bLoggedIn && ++m_nLogins >= m_options.nMaxLogins) {
        throw ProtocolError("too many refused logins");
    }
}

asio::awaitable<std::unique_ptr<Answer>> Connection::Answered(const ZPMDefine_MessageHead& head,
                                                              const std::string& strBody) {
    if (!IsSlow(head)) co_return MakeAnswer(m_store, m_user, head, strBody);
    m_deadline.cancel();  // whoever makes it has bounds of his own
    struct Wake {
        asio::steady_timer timer;
        bool bBegun = false;
    };
    const auto pWake = std::make_shared<Wake>(Wake{asio::steady_timer(m_socket.get_executor())});
    const Turns::Turn turn(m_pools.turns, m_user.strName, [pWake] {
        asio::post(pWake->timer.get_executor(), [pWake] {
            pWake->bBegun = true;
            pWake->timer.cancel();
        });
    });
    while (!pWake->bBegun) {
        pWake->timer.expires_after(std::chrono::seconds(1));
        asio::error_code ignored;
        co_await pWake->timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
        if (HasLeft(m_socket)) throw asio::system_error(asio::error::eof);
    }
    co_return co_await asio::co_spawn(
        m_pools.formulas,
        [&]() -> asio::awaitable<std::unique_ptr<Answer>> {
            co_return MakeAnswer(m_store, m_user, head, strBody);
        },
        asio::use_awaitable);
}

asio::awaitable<void> Connection::Run() {
    const auto pSelf = shared_from_this();
    try {
        ExpectWithin(m_options.login);
        ZPMDefine_MessageHead head;
        std::string strBody;
        std::string strPacket;
        while (true) {
            co_await ReadRequest(head, strBody);
            if (head.sDataType == ID_ZPMTELE_LOGIN) {
                co_await LogIn(head, strBody);
                if (!m_bLoggedIn) ExpectWithin(m_options.login);
                continue;
            }
            const auto pAnswer = co_await Answered(head, strBody);
            while (pAnswer->Next(strPacket)) co_await Write(strPacket);
            strPacket = {};  // an idle connection holds no packet
        }
    } catch (const asio::system_error& e) {
        if (m_bExpired) {
            Log(m_strPeer + " closed: nothing moved in time");
        } else if (e.code() == asio::error::eof || e.code() == asio::error::connection_reset) {
            Log(m_strPeer + " left");
        } else {
            Log(m_strPeer + " closed: " + e.code().message());
        }
    } catch (const std::exception& e) {
        Log(m_strPeer + " closed: " + e.what());
    }
    m_deadline.cancel();
    asio::error_code ignored;
    m_socket.close(ignored);
}

}  // namespace qrx::server
