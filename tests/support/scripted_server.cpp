// See the header.
#include "support/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace qrx::test {

std::string Packet(int nType, int nRequestID, const std::string& strBody, int nFlags) {
    ZPMDefine_MessageHead head{};
    head.sFlags = static_cast<uint16_t>(nFlags);
    head.sDataType = static_cast<int16_t>(nType);
    head.nDataLen = static_cast<int32_t>(strBody.size());
    head.nRequestID = nRequestID;
    return Bytes(head) + strBody;
}

bool Peer::Read(void* pData, size_t nLen) {
    for (size_t nDone = 0; nDone < nLen;) {
        const ssize_t n = recv(m_socket.Get(), static_cast<char*>(pData) + nDone, nLen - nDone, 0);
        if (n <= 0) return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

bool Peer::Receive(Message& message) {
    if (!Read(&message.head, sizeof message.head)) return false;
    message.strBody.resize(static_cast<size_t>(message.head.nDataLen));
    return Read(message.strBody.data(), message.strBody.size());
}

bool Peer::Send(const std::string& strBytes) {
    return SendInPieces(strBytes, strBytes.size());
}

bool Peer::SendInPieces(const std::string& strBytes, size_t nPiece) {
    for (size_t nDone = 0; nDone < strBytes.size();) {
        const size_t nNow = std::min(nPiece, strBytes.size() - nDone);
        const ssize_t n = send(m_socket.Get(), strBytes.data() + nDone, nNow, MSG_NOSIGNAL);
        if (n <= 0) return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

void Peer::Cut() {
    shutdown(m_socket.Get(), SHUT_RDWR);
}

void Peer::WaitForEnd() {
    char bytes[4096];
    while (recv(m_socket.Get(), bytes, sizeof bytes, 0) > 0) {
    }
}

ScriptedServer::ScriptedServer(Script script, int nAccepted)
    : m_script(std::move(script)),
      m_nAccepted(nAccepted),
      m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nSize = sizeof address;
    if (bind(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_listener.Get(), 64) != 0 ||
        getsockname(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), &nSize) != 0) {
        throw std::runtime_error("no listening socket");
    }
    m_nPort = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { Accept(); });
}

ScriptedServer::~ScriptedServer() {
    m_bStop = true;
    shutdown(m_listener.Get(), SHUT_RDWR);
    m_acceptor.join();
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        for (const auto& pPeer : m_peers) pPeer->Cut();
    }
    for (std::thread& thread : m_threads) thread.join();
}

void ScriptedServer::Narrow() const {
    const int nSegment = 536;
    const int nWindow = 4096;
    setsockopt(m_listener.Get(), IPPROTO_TCP, TCP_MAXSEG, &nSegment, sizeof nSegment);
    setsockopt(m_listener.Get(), SOL_SOCKET, SO_RCVBUF, &nWindow, sizeof nWindow);
}

// One connection waits in a queue of one: the network drops what else is asked for.
void ScriptedServer::BeDeaf() {
    sockaddr_in address{};
    socklen_t nSize = sizeof address;
    getsockname(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), &nSize);
    listen(m_listener.Get(), 0);
    m_queued.Reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(m_queued.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no connection to fill the queue");
    }
}

void ScriptedServer::Accept() {
    while (!m_bStop) {
        if (m_nConnections == m_nAccepted) return BeDeaf();
        const int fd = accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        const int nOn = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_peers.push_back(std::make_unique<Peer>(fd, m_nConnections++));
        Peer* pPeer = m_peers.back().get();
        m_threads.emplace_back([this, pPeer] {
            m_script(*pPeer);
            pPeer->Cut();
        });
    }
}

const std::vector<TestMarket>& DefaultMarkets() {
    static const std::vector<TestMarket> kMarkets = {
        {"SH", {{"600000", 16, "PFYH"}, {"000001", 1, "SZZS"}}},
        {"SZ", {{"000001", 16}}},
        {"SHF", {{"cu1701", 112}, {"au1706", 113}, {"ru1705", 112}}},
        {"CF", {{"IF1701", 125}, {"IO1701-C-3500", 0x91}}},
        {"DCE", {{"jm1705", 112}, {"a1705", 112}}},
        {"CZC", {{"SR705", 112}, {"WH705", 112}}}};
    return kMarkets;
}

std::string LoginAnswer(const std::vector<TestMarket>& vecMarkets, int nResult,
                        const std::string& strText) {
    ZPMDefine_LoginAnswer answer{};
    snprintf(answer.szInfo, sizeof answer.szInfo, "%s", strText.c_str());
    answer.nResult = nResult;
    answer.nMarkets = static_cast<int>(vecMarkets.size());
    for (size_t i = 0; i < vecMarkets.size(); ++i) {
        memcpy(answer.chMarket[i], vecMarkets[i].szMarket, strnlen(vecMarkets[i].szMarket, 4));
        answer.nMarketInfo[i] = static_cast<int>(i) + 1;
    }
    return Bytes(answer);
}

std::string CodeTableAnswer(const TestMarket& market) {
    ZPMDefine_CodeTable_Head head{};
    head.nTotalItems = static_cast<int>(market.vecCodes.size());
    head.nItemSize = sizeof(ZPMDefine_CodeTable_Item);
    std::string strBody = Bytes(head);
    for (const TestCode& code : market.vecCodes) {
        ZPMDefine_CodeTable_Item item{};
        memcpy(item.chCode, code.szCode, strnlen(code.szCode, sizeof item.chCode));
        memcpy(item.chName, code.szName, strnlen(code.szName, sizeof item.chName));
        item.nType = code.nType;
        strBody += Bytes(item);
    }
    return strBody;
}

ScriptedServer::Script Serving(Handler handler, std::vector<TestMarket> vecMarkets) {
    return [handler = std::move(handler), vecMarkets = std::move(vecMarkets)](Peer& peer) {
        Message request;
        while (peer.Receive(request)) {
            if (request.head.sDataType == ID_ZPMTELE_LOGIN) {
                peer.Answer(request, ID_ZPMTELE_LOGIN_ANSWER, LoginAnswer(vecMarkets));
            } else if (request.head.sDataType == ID_ZPMTELE_REQ_CODETABLE) {
                const std::string strMarket(request.strBody.c_str());
                for (const TestMarket& market : vecMarkets) {
                    if (strMarket == market.szMarket) {
                        peer.Answer(request, ID_ZPMTELE_CODETABLE, CodeTableAnswer(market));
                    }
                }
            } else if (!handler(peer, request)) {
                return;
            }
        }
    };
}

OPEN_SETTINGS Settings(int nPort, unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap) {
    OPEN_SETTINGS settings{};
    snprintf(settings.szIP, sizeof settings.szIP, "127.0.0.1");
    snprintf(settings.szPort, sizeof settings.szPort, "%d", nPort);
    snprintf(settings.szUser, sizeof settings.szUser, "user");
    snprintf(settings.szPassword, sizeof settings.szPassword, "secret");
    settings.nTimeOutVal = nTimeOut;
    settings.nRetryCount = nRetryCount;
    settings.nRetryGap = nRetryGap;
    return settings;
}

Session::Session(int nPort, unsigned nTimeOut, unsigned nRetryCount, unsigned nRetryGap)
    : m_pLogin(std::make_unique<QRXDefine_ResLogin>()) {
    const OPEN_SETTINGS settings = Settings(nPort, nTimeOut, nRetryCount, nRetryGap);
    m_h = QRX_Open(&settings, m_pLogin.get());
}

std::vector<int> SessionDescriptors(int nPort) {
    std::vector<int> sockets;
    std::vector<int> events;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename());
        sockaddr_in address{};
        socklen_t nSize = sizeof address;
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == "anon_inode:[eventfd]") {
            events.push_back(fd);
        } else if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &nSize) == 0 &&
                   address.sin_family == AF_INET && ntohs(address.sin_port) == nPort) {
            sockets.push_back(fd);
        }
    }
    sockets.insert(sockets.end(), events.begin(), events.end());
    return sockets;
}

int Session::Close() {
    void* h = m_h;
    m_h = nullptr;
    return h != nullptr ? QRX_Close(h) : QRX_ERR_ARGUMENT;
}

}  // namespace qrx::test
