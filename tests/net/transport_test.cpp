// The blocking transport against a peer that does anything.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <fstream>
#include <thread>

#include "session/transport.h"
#include "support/deadline.h"
#include "support/limits.h"
#include "support/sanitizers.h"
#include "support/scripted_server.h"

namespace {
thread_local int t_nRefusedThreads = 0;
}

// This program's own, which the library takes before the C library's: refuses that many threads to
// the calling one.
extern "C" int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttr,
                              void* (*pfnMain)(void*), void* pArgument) noexcept {
    static const auto pfnCreate =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    if (t_nRefusedThreads == 0) return pfnCreate(pThread, pAttr, pfnMain, pArgument);
    --t_nRefusedThreads;
    return EAGAIN;
}

namespace qrx::test {
namespace {

const unsigned kLoopback = inet_addr("127.0.0.1");

// A transport that is connected to the server.
struct Connected : SynNKNetWork {
    Connected(int64_t nTimeOut, const ScriptedServer& server) : SynNKNetWork(nTimeOut) {
        EXPECT_EQ(Connect(kLoopback, server.Port()), 1);
    }
    ~Connected() override { Close(); }
};

std::string Counting(size_t nBytes) {
    std::string strBytes(nBytes, '\0');
    for (size_t i = 0; i < nBytes; ++i) strBytes[i] = static_cast<char>(i * 131 >> 3);
    return strBytes;
}

TEST(Transport, ExactCountsWhateverThePieces) {
    const std::string strAll = Counting(3000000);
    for (const size_t nPiece : {size_t{7}, size_t{1000}, size_t{262144}, size_t{3000000}}) {
        const size_t nTotal = nPiece < 100 ? 20000 : strAll.size();
        ScriptedServer server([&](Peer& peer) {
            peer.SendInPieces(strAll.substr(0, nTotal), nPiece);
            peer.WaitForEnd();
        });
        Connected net(5, server);
        EXPECT_EQ(net.Connect(kLoopback, server.Port()), 1);  // connected already
        std::string strGot;
        for (size_t nAsk = 1; strGot.size() < nTotal; nAsk = nAsk * 3 % 70001 + 1) {
            std::string strPart(std::min(nAsk, nTotal - strGot.size()), '\0');
            ASSERT_EQ(net.RecvN(strPart.data(), static_cast<int>(strPart.size())),
                      static_cast<int>(strPart.size()));
            strGot += strPart;
        }
        EXPECT_TRUE(strGot == strAll.substr(0, nTotal)) << nPiece;
        EXPECT_EQ(server.Connections(), 1);
    }
}

TEST(Transport, TimeOutKeepsTheConnectionAndTellsWhatItTook) {
    ScriptedServer server([&](Peer& peer) {
        char c;
        peer.Send("12345");
        peer.Read(&c, 1);
        peer.Send("67890");
        peer.WaitForEnd();
    });
    Connected net(1, server);
    char bytes[10];
    int nGot = 0;
    EXPECT_EQ(net.RecvN(bytes, 10, &nGot), -2);
    EXPECT_EQ(nGot, 5);
    EXPECT_TRUE(net.IsConnected());
    EXPECT_GT(net.SendN("x", 1), 0);
    EXPECT_EQ(net.RecvN(bytes + 5, 5), 5);
    EXPECT_EQ(std::string(bytes, 10), "1234567890");
}

TEST(Transport, BytesBeforeADisconnectCount) {
    for (int nRound = 0; nRound < 200; ++nRound) {
        ScriptedServer server([&](Peer& peer) { peer.Send("12345678"); });
        Connected net(5, server);
        char bytes[10];
        ASSERT_EQ(net.RecvN(bytes, 8), 8);
        ASSERT_EQ(net.RecvN(bytes, 1), -1);
        ASSERT_FALSE(net.IsConnected());
        ASSERT_EQ(net.RecvN(bytes, 1), -1);
    }
}

// A last word that came before the request was sent is still read.
TEST(Transport, ASendAfterTheLastWordLeavesItReadable) {
    ScriptedServer server([&](Peer& peer) { peer.Send("no"); });
    Connected net(5, server);
    usleep(100000);
    char bytes[2];
    EXPECT_GT(net.SendN("please", 6), 0);
    EXPECT_EQ(net.RecvN(bytes, 2), 2);
    EXPECT_EQ(net.SendN("please", 6), -1);
}

// Sends after the peer's reset fail, and the process has no signal to die of.
TEST(Transport, ASendAfterAResetIsAnError) {
    signal(SIGPIPE, SIG_DFL);
    ScriptedServer server([](Peer&) {});
    Connected net(5, server);
    while (net.Send("x", 1) >= 0) usleep(1000);
    EXPECT_EQ(net.Send("x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST(Transport, AbortWakesAndAClosedTransportAnswersAtOnce) {
    ScriptedServer server([&](Peer& peer) {
        peer.Send("kept");
        peer.WaitForEnd();
    });
    Connected net(60, server);
    char bytes[10];
    ASSERT_EQ(net.RecvN(bytes, 1), 1);
    std::thread aborter([&] {
        usleep(50000);
        net.AbortRead();
    });
    const int64_t nStart = Deadline::NowMs();
    EXPECT_EQ(net.RecvN(bytes, 10), -1);
    EXPECT_LT(Deadline::NowMs() - nStart, 5000);
    aborter.join();
    EXPECT_EQ(net.RecvN(bytes, 1), -1);
    EXPECT_EQ(net.SendN(bytes, 1), -1);
    // An abort while nothing waits fails the next read that has to wait, not one that need not.
    ASSERT_EQ(net.Connect(kLoopback, server.Port()), 1);
    usleep(100000);
    net.AbortRead();
    EXPECT_EQ(net.RecvN(bytes, 4), 4);
    EXPECT_EQ(net.RecvN(bytes, 1), -1);
}

TEST(Transport, ASendThatCannotMoveEnds) {
    ScriptedServer server([&](Peer&) { usleep(8000000); });
    Connected net(1, server);
    const std::string strBig(64 << 20, 'x');
    const int64_t nStart = Deadline::NowMs();
    EXPECT_EQ(net.SendN(strBig.data(), static_cast<int>(strBig.size())), -1);
    EXPECT_LT(Deadline::NowMs() - nStart, 7000);  // the server takes eight seconds
    EXPECT_FALSE(net.IsConnected());
}

int64_t ResidentBytes() {
    std::ifstream file("/proc/self/statm");
    int64_t nPages = 0;
    file >> nPages >> nPages;
    return nPages * sysconf(_SC_PAGESIZE);
}
constexpr int64_t kShadow = kSanitized ? 6 : 1;  // a sanitizer keeps several bytes beside each

// The client holds no more than the ceiling and what the kernel buffers of a server's 4 GiB.
class Flood {
public:
    void Send(Peer& peer) {
        const std::string strPiece(1 << 20, 'y');
        while (m_nSent < int64_t{4} << 30 && peer.Send(strPiece)) m_nSent += 1 << 20;
    }
    // Until the sender stands still beyond the ceiling; what was sent by then.
    int64_t ExpectStuck() const {
        constexpr auto kHeld = static_cast<int64_t>(limits::kMaxHeldBytes);
        constexpr int64_t kMost = kHeld + (64 << 20);
        int64_t nBefore = -1;
        while ((Sent() != nBefore || nBefore <= kHeld) && Sent() < kMost) {
            nBefore = Sent();
            usleep(300000);
        }
        EXPECT_LT(Sent(), kMost);
        ExpectFlat();
        return nBefore;
    }
    void ExpectFlat() const {
        EXPECT_LT(ResidentBytes() - m_nResident, (int64_t{160} << 20) * kShadow);
    }
    int64_t Sent() const { return m_nSent; }

private:
    std::atomic<int64_t> m_nSent{0};
    const int64_t m_nResident = ResidentBytes();
};

TEST(Transport, HeldMemoryIsBounded) {
    std::string strPart(8 << 20, '\0');
    Flood flood;
    ScriptedServer server([&](Peer& peer) { flood.Send(peer); });
    Connected net(5, server);
    const int64_t nBefore = flood.ExpectStuck();
    // Reading lets it go on, well beyond what was held.
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(net.RecvN(strPart.data(), 8 << 20), 8 << 20);
        ASSERT_EQ(strPart.find_first_not_of('y'), std::string::npos);
    }
    EXPECT_GT(flood.Sent(), nBefore);
    flood.ExpectFlat();
    const int64_t nStart = Deadline::NowMs();
    net.Close();  // while it goes on
    EXPECT_LT(Deadline::NowMs() - nStart, 1000);
}

TEST(Transport, AnIdleSessionStaysSmallAndCloses) {
    Flood flood;
    ScriptedServer server([&](Peer& peer) {
        Message request;
        peer.Receive(request);
        peer.Answer(request, ID_ZPMTELE_LOGIN_ANSWER, LoginAnswer({{"SH", {}}}));
        peer.Receive(request);
        peer.Answer(request, ID_ZPMTELE_CODETABLE, CodeTableAnswer(DefaultMarkets()[0]));
        flood.Send(peer);
    });
    Session session(server.Port());
    ASSERT_NE(session.Get(), nullptr);
    flood.ExpectStuck();
    const int64_t nStart = Deadline::NowMs();
    EXPECT_EQ(session.Close(), 0);
    EXPECT_LT(Deadline::NowMs() - nStart, 1000);
}

TEST(Transport, ConnectFailures) {
    SynNKNetWork net(1);
    const int nFree = ScriptedServer([](Peer&) {}).Port();
    EXPECT_EQ(net.Connect(kLoopback, nFree), -1);
    EXPECT_EQ(net.Connect(inet_addr("not an address"), nFree), -1);
    for (const int nPort : {0, -1, 65536}) EXPECT_EQ(net.Connect(kLoopback, nPort), -1);
    char c;
    EXPECT_EQ(net.RecvN(&c, 1), -1);
    EXPECT_DEATH(net.RecvN(&c, 0), "SynNKNetWork:[0-9]+: ");
    // No thread to be had, with a small stack or with the default one; then only with the latter.
    ScriptedServer server([](Peer& peer) { peer.WaitForEnd(); });
    t_nRefusedThreads = 2;
    EXPECT_EQ(net.Connect(kLoopback, server.Port()), -1);
    EXPECT_TRUE(SessionDescriptors(server.Port()).empty());
    t_nRefusedThreads = 1;
    EXPECT_EQ(net.Connect(kLoopback, server.Port()), 1);
}

}  // namespace
}  // namespace qrx::test
