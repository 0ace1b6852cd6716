// Waits while the wall clock is stepped back and forth: this program's own clock calls, which the
// library takes before the C library's, add hours to every wall-clock time.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "session/orders.h"
#include "support/scripted_server.h"

namespace {
std::atomic<int64_t> g_iAhead{0};  // seconds
}

extern "C" int clock_gettime(clockid_t clock, timespec* pTime) noexcept {
    const auto nResult = static_cast<int>(syscall(SYS_clock_gettime, clock, pTime));
    if (nResult == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        pTime->tv_sec += g_iAhead.load();
    }
    return nResult;
}

extern "C" int gettimeofday(timeval* pTime, void* /*pZone*/) noexcept {
    timespec now{};
    const int nResult = clock_gettime(CLOCK_REALTIME, &now);
    *pTime = {now.tv_sec, now.tv_nsec / 1000};
    return nResult;
}

extern "C" time_t time(time_t* pTime) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (pTime != nullptr) *pTime = now.tv_sec;
    return now.tv_sec;
}

namespace qrx::test {
namespace {

using namespace std::chrono_literals;

// Steps the wall clock by hours every few milliseconds as long as it lives.
class SteppedClock {
public:
    SteppedClock()
        : m_thread([this] {
              for (int i = 0; !m_bEnd; ++i) {
                  g_iAhead = i % 2 == 0 ? 7200 : -7200;
                  std::this_thread::sleep_for(7ms);
              }
              g_iAhead = 0;
          }) {}
    ~SteppedClock() {
        m_bEnd = true;
        m_thread.join();
    }
    SteppedClock(const SteppedClock&) = delete;
    SteppedClock& operator=(const SteppedClock&) = delete;

private:
    std::atomic<bool> m_bEnd{false};
    std::thread m_thread;
};

TEST(WallClock, StepsNeitherEndNorStretchAWait) {
    // Of three requests one is answered late, one never, and the connection of the third is cut.
    std::atomic<int> nRequest{0};
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        const int n = ++nRequest;
        if (n == 1) std::this_thread::sleep_for(400ms);
        if (n == 3) return false;
        return n == 2 || peer.Send(OrderPacket(r.head.nRequestID, n, 1, true));
    }));
    Session session(server.Port(), 1, 1, 1);
    ASSERT_NE(session.Get(), nullptr);
    const SteppedClock stepped;
    EXPECT_EQ(GetOrders(session.Get()).indexes, (std::vector<int>{1}));

    auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(GetOrders(session.Get()).nResult, -2);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 999ms);  // the time-out, whole

    begin = std::chrono::steady_clock::now();
    EXPECT_EQ(GetOrders(session.Get()).indexes, (std::vector<int>{4}));
    EXPECT_GE(std::chrono::steady_clock::now() - begin,
              999ms);  // the pause before the retry, whole
}

}  // namespace
}  // namespace qrx::test
