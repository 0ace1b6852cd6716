// QRX_Close from another thread: back within a second whatever server, proxy and network do.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "session/orders.h"
#include "support/deadline.h"
#include "support/sanitizers.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

constexpr int64_t kBoundMs = kSanitized ? 3000 : 1000;

// What a proxy of each kind reads before each of its answers, up to the open tunnel.
struct ProxyTalk {
    size_t nRead;
    std::string strAnswer;
};
const std::vector<ProxyTalk> kProxyTalk[] = {
    {{9, std::string("\0\x5A\0\0\0\0\0\0", 8)}},
    {{19, std::string("\0\x5A\0\0\0\0\0\0", 8)}},
    {{3, std::string("\5\0", 2)}, {10, std::string("\5\0\0\1\0\0\0\0\0\0", 10)}},
    {{57, "HTTP/1.1 200 open\r\n\r\n"}},
};
constexpr int kNoProxy = -1;
constexpr int kBehindProxy = 7700;  // nobody connects to it: the proxy plays the server, too

void* Open(const ScriptedServer& server, int nProxyKind) {
    const OPEN_SETTINGS settings =
        Settings(nProxyKind == kNoProxy ? server.Port() : kBehindProxy, 60, 3, 1);
    QRX_PROXY_SETTING proxy{};
    proxy.nProxyType = static_cast<QRX_PROXY_TYPE>(nProxyKind);
    snprintf(proxy.szProxyHostIp, sizeof proxy.szProxyHostIp, "127.0.0.1");
    snprintf(proxy.szProxyPort, sizeof proxy.szProxyPort, "%d", server.Port());
    QRXDefine_ResLogin login;
    return nProxyKind == kNoProxy ? QRX_Open(&settings, &login)
                                  : QRX_OpenProxy(&settings, &proxy, &login);
}

int AddLargeFormula(void* h) {
    const std::string strText((1 << 20) - 1, 'x');
    return QRX_AddFormula(h, "large", strText.c_str(), nullptr);
}
int AskForOrders(void* h) {
    return GetOrders(h).nResult;
}

// Sends the start of a packet, and then nothing.
void Begin(Peer& peer, const std::string& strPacket, size_t nBytes) {
    peer.Send(strPacket.substr(0, nBytes));
    peer.WaitForEnd();
}

// Answers the login and the code table of a connection with one market, up to so many bytes.
void Welcome(Peer& peer, size_t nLogin = std::string::npos, size_t nTable = std::string::npos) {
    const std::pair<std::string, size_t> answers[] = {
        {Packet(ID_ZPMTELE_LOGIN_ANSWER, 0, LoginAnswer({{"SH", {}}})), nLogin},
        {Packet(ID_ZPMTELE_CODETABLE, 0, CodeTableAnswer(DefaultMarkets()[0])), nTable}};
    for (const auto& [strAnswer, nBytes] : answers) {
        Message request;
        if (!peer.Receive(request)) return;
        if (nBytes < strAnswer.size()) return Begin(peer, strAnswer, nBytes);
        peer.Send(strAnswer);
    }
}
ScriptedServer::Script LoginUpTo(size_t nBytes) {
    return [nBytes](Peer& peer) { Welcome(peer, nBytes); };
}
ScriptedServer::Script CodesUpTo(size_t nBytes) {
    return [nBytes](Peer& peer) { Welcome(peer, std::string::npos, nBytes); };
}

TEST(Close, EndsEverythingWithinASecond) {
    const ScriptedServer::Script silent = [](Peer& peer) { peer.WaitForEnd(); };
    const auto serving = [](void (*pfnAnswer)(Peer&, int)) {
        return Serving([pfnAnswer](Peer& peer, const Message& r) {
            pfnAnswer(peer, r.head.nRequestID);
            return false;
        });
    };
    const auto silence = serving([](Peer& peer, int) { peer.WaitForEnd(); });
    const auto cut = serving([](Peer&, int) {});
    const auto flood = serving([](Peer& peer, int nId) {
        const std::string strStale = OrderPacket(nId - 1, 1, 20000, true);
        while (peer.Send(strStale)) {
        }
    });
    const auto insideHead =
        serving([](Peer& peer, int nId) { Begin(peer, OrderPacket(nId, 1, 50, true), 11); });
    const auto insideBody =
        serving([](Peer& peer, int nId) { Begin(peer, OrderPacket(nId, 1, 50, true), 60); });
    const ScriptedServer::Script deaf = [](Peer& peer) {
        Welcome(peer);
        usleep(2500000);  // as long as the case takes
    };
    constexpr int kAll = INT_MAX;
    constexpr int kReconnected = 1400;  // the pause before it takes a second
    // What the server does on the first connection and on later ones, and how many get through.
    const struct Case {
        const char* szName;
        ScriptedServer::Script first;
        ScriptedServer::Script later;
        int nCloseAfterMs;
        int nProxyKind = kNoProxy;
        int nAccepted = kAll;
        int (*pfnAsk)(void*) = &AskForOrders;
    } kCases[] = {
        {"silent server", silence, silent, 200},
        {"flood of stale packets", flood, silent, 200},
        {"inside a head", insideHead, silent, 200},
        {"inside a body", insideBody, silent, 200},
        {"a server that reads nothing", deaf, silent, 500, kNoProxy, kAll, &AddLargeFormula},
        {"pause before a reconnect", cut, silent, 300},
        {"connecting again", cut, silent, kReconnected, kNoProxy, 1},
        {"silent SOCKS 4 proxy", cut, silent, kReconnected, QRX_PROXY_SOCKS4},
        {"silent SOCKS 4A proxy", cut, silent, kReconnected, QRX_PROXY_SOCKS4A},
        {"silent SOCKS 5 proxy", cut, silent, kReconnected, QRX_PROXY_SOCKS5},
        {"silent HTTP proxy", cut, silent, kReconnected, QRX_PROXY_HTTP},
        {"head of the login answer", cut, silent, kReconnected},
        {"inside that head", cut, LoginUpTo(7), kReconnected},
        {"body of the login answer", cut, LoginUpTo(100), kReconnected},
        {"code table of a reconnect", cut, CodesUpTo(0), kReconnected},
        {"body of that code table", cut, CodesUpTo(40), kReconnected},
        {"request after a reconnect", cut, silence, kReconnected + 100},
        {"cut off again and again", cut, cut, kReconnected + 100},
    };
    std::vector<std::thread> threads;
    for (const Case& c : kCases) {
        threads.emplace_back([&c] {
            ScriptedServer server(
                [&](Peer& peer) {
                    if (peer.Index() != 0) return c.later(peer);
                    if (c.nProxyKind != kNoProxy) {
                        for (const ProxyTalk& talk : kProxyTalk[c.nProxyKind]) {
                            std::string strGot(talk.nRead, '\0');
                            if (!peer.Read(strGot.data(), strGot.size())) return;
                            peer.Send(talk.strAnswer);
                        }
                    }
                    c.first(peer);
                },
                c.nAccepted);
            if (c.pfnAsk == &AddLargeFormula) server.Narrow();
            void* h = Open(server, c.nProxyKind);
            ASSERT_NE(h, nullptr) << c.szName;
            std::atomic<bool> bReturned{false};
            int nResult = 0;
            std::thread caller([&] {
                nResult = c.pfnAsk(h);
                bReturned = true;
            });
            usleep(static_cast<useconds_t>(c.nCloseAfterMs) * 1000);
            EXPECT_FALSE(bReturned) << c.szName << " held nothing up";
            const int64_t nStart = Deadline::NowMs();
            EXPECT_EQ(QRX_Close(h), 0) << c.szName;
            EXPECT_LT(Deadline::NowMs() - nStart, kBoundMs) << c.szName;
            caller.join();
            EXPECT_EQ(nResult, -1) << c.szName;
            EXPECT_EQ(QRX_Close(h), -11);
            EXPECT_EQ(GetOrders(h).nResult, -11);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(Close, TwoAtOnceAndForeignHandles) {
    ScriptedServer server(Serving([](Peer&, const Message&) { return true; }));
    for (int i = 0; i < 20; ++i) {
        void* h = Open(server, kNoProxy);
        ASSERT_NE(h, nullptr);
        int nOther = 0;
        std::thread other([&] { nOther = QRX_Close(h); });
        const int nMine = QRX_Close(h);
        other.join();
        EXPECT_EQ(nMine + nOther, -11);
    }
    int nForeign = 0;
    EXPECT_EQ(QRX_Close(&nForeign), -11);
    EXPECT_EQ(QRX_Close(nullptr), -11);
    EXPECT_EQ(QRX_GetCodeInfo(&nForeign, "600000.SH"), nullptr);
}

}  // namespace
}  // namespace qrx::test
