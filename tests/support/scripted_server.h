// A server in the test's own process that does what a script says, also what no server should:
// fragment, stall, cut, lie. One thread a connection; the destructor ends them all.
#ifndef QRX_TESTS_SCRIPTED_SERVER_H
#define QRX_TESTS_SCRIPTED_SERVER_H

#include <qrx/qrx.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "codec/wire.h"
#include "support/descriptor.h"

namespace qrx::test {

struct Message {
    ZPMDefine_MessageHead head{};
    std::string strBody;

    template <class Head>
    Head As() const {
        Head out{};
        memcpy(&out, strBody.data(), std::min(sizeof out, strBody.size()));
        return out;
    }
};

// One packet: head and body.
std::string Packet(int nType, int nRequestID, const std::string& strBody,
                   int nFlags = PROTOCAL_NUMBER);

template <class Record>
std::string Bytes(const Record& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

// The server's end of one connection.
class Peer {
public:
    Peer(int fd, int nIndex) : m_socket(fd), m_nIndex(nIndex) {}

    bool Read(void* pData, size_t nLen);  // false when the client has gone
    bool Receive(Message& message);
    bool Send(const std::string& strBytes);
    bool SendInPieces(const std::string& strBytes, size_t nPiece);
    bool Answer(const Message& request, int nType, const std::string& strBody) {
        return Send(Packet(nType, request.head.nRequestID, strBody));
    }
    void Cut();                             // closes now; unread bytes make it a reset
    void WaitForEnd();                      // reads away until the client has gone
    int Index() const { return m_nIndex; }  // 0 for the first connection
    int Socket() const { return m_socket.Get(); }

private:
    qrx::Descriptor m_socket;
    int m_nIndex;
};

class ScriptedServer {
public:
    using Script = std::function<void(Peer&)>;
    // Beyond nAccepted connections it is deaf: a further one is neither accepted nor refused.
    explicit ScriptedServer(Script script, int nAccepted = INT_MAX);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    // Small segments and windows for connections to come: a megabyte does not fit the buffers.
    void Narrow() const;

    int Port() const { return m_nPort; }
    int Connections() const { return m_nConnections; }

private:
    void Accept();
    void BeDeaf();

    Script m_script;
    int m_nAccepted;
    qrx::Descriptor m_listener;
    int m_nPort = 0;
    std::atomic<int> m_nConnections{0};
    std::atomic<bool> m_bStop{false};
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Peer>> m_peers;
    std::vector<std::thread> m_threads;
    qrx::Descriptor m_queued;  // fills a deaf listener's queue
    std::thread m_acceptor;
};

// -- A well-behaved opening, after which a test's own handler answers ------------------------

struct TestCode {
    const char* szCode;
    int nType;
    const char* szName = "";
};
struct TestMarket {
    const char* szMarket;
    std::vector<TestCode> vecCodes;
};

// SH with a stock and an index, SZ, and each futures market with futures and an option.
const std::vector<TestMarket>& DefaultMarkets();

std::string LoginAnswer(const std::vector<TestMarket>& vecMarkets, int nResult = 1,
                        const std::string& strText = "welcome");
std::string CodeTableAnswer(const TestMarket& market);

// Answers login and code tables, everything else goes to the handler, which returns false to end
// the connection.
using Handler = std::function<bool(Peer&, const Message&)>;
ScriptedServer::Script Serving(Handler handler,
                               std::vector<TestMarket> vecMarkets = DefaultMarkets());

// -- The client's side -----------------------------------------------------------------------

OPEN_SETTINGS Settings(int nPort, unsigned nTimeOut = 5, unsigned nRetryCount = 0,
                       unsigned nRetryGap = 1);

// An open session, closed with the object.
class Session {
public:
    explicit Session(int nPort, unsigned nTimeOut = 5, unsigned nRetryCount = 0,
                     unsigned nRetryGap = 1);
    ~Session() { Close(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void* Get() const { return m_h; }
    const QRXDefine_ResLogin& Login() const { return *m_pLogin; }
    int Close();

private:
    std::unique_ptr<QRXDefine_ResLogin> m_pLogin;
    void* m_h;
};

// What sessions of this process with a server hold: their sockets first, then every eventfd.
std::vector<int> SessionDescriptors(int nPort);

// A request record of any kind with its code filled in.
template <class Request>
Request RequestFor(const char* szCode, int nBeginDate = 0, int nEndDate = 0) {
    Request request{};
    snprintf(request.chCode, sizeof request.chCode, "%s", szCode);
    request.nBeginDate = nBeginDate;
    request.nEndDate = nEndDate;
    return request;
}

}  // namespace qrx::test

#endif
