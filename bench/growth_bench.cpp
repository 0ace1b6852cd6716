// The shape of growth: time per record of QRX_GetTransaction as an answer grows from a thousand
// records to ten million, a range from one day to 250, and a process from one session to 64 that
// ask at the same time. Counter "ratio": time per record over that of the case compared with (see
// each), so 1 is flat.
#include <thread>

#include "compare.h"
#include "ready_server.h"

namespace qrx::bench {
namespace {

constexpr int kPerPacket = 8000;
constexpr int kPerDay = 20000;
constexpr int kFirstDay = 20240101;

// The last of nDays days on a calendar of 31-day months.
int LastDay(int nDays) {
    const int n = nDays - 1;
    return kFirstDay + n / 31 * 100 + n % 31;
}

// Seconds per record of nTimes requests in a row. Machine memory for nAtHand records (packets,
// days, joined result) is touched before.
double PerRecord(const ReadySession& session, int nAnswer, int nDays, int nTimes,
                 int64_t nAtHand = 0) {
    constexpr int64_t kBytesPerRecord = 2 * sizeof(QRXDefine_Transaction) + 30;
    if (nAtHand > 0) HaveMemoryAtHand(static_cast<size_t>(nAtHand * kBytesPerRecord));
    int64_t nRecords = 0;
    const double nSeconds = Seconds([&] {
        for (int i = 0; i < nTimes; ++i) {
            nRecords += session.Transactions(nAnswer, kFirstDay, LastDay(nDays));
        }
    });
    return nSeconds / static_cast<double>(nRecords);
}

// Answers of range(0) records against one of a hundred thousand.
void Records(benchmark::State& state) {
    const auto nRecords = static_cast<int>(state.range(0));
    const ReadyServer server({nRecords, 100000}, kPerPacket);
    const ReadySession session(server.Port());
    const int nTimes = std::max(1, 1000000 / nRecords);
    CompareTimed(
        state, [&] { return PerRecord(session, 0, 1, nTimes, nRecords); },
        [&] { return PerRecord(session, 1, 1, 10); });
}

// range(0) days of twenty thousand records each against one day, asked for as often.
void Days(benchmark::State& state) {
    const auto nDays = static_cast<int>(state.range(0));
    const ReadyServer server({kPerDay}, kPerPacket);
    const ReadySession session(server.Port());
    CompareTimed(
        state, [&] { return PerRecord(session, 0, nDays, 1, nDays * kPerDay); },
        [&] { return PerRecord(session, 0, 1, nDays); });
}

// range(0) sessions at once, each with its share of 64 requests, against one session with all.
void Sessions(benchmark::State& state) {
    const auto nSessions = static_cast<size_t>(state.range(0));
    constexpr int kRequests = 64;
    const ReadyServer server({50000}, kPerPacket);
    std::vector<std::unique_ptr<ReadySession>> sessions;
    for (size_t i = 0; i < nSessions; ++i) {
        sessions.push_back(std::make_unique<ReadySession>(server.Port()));
    }
    const auto together = [&] {
        return Seconds([&] {
            std::vector<std::thread> threads;
            for (const auto& pSession : sessions) {
                threads.emplace_back(
                    [&] { PerRecord(*pSession, 0, 1, kRequests / static_cast<int>(nSessions)); });
            }
            for (std::thread& thread : threads) thread.join();
        });
    };
    const auto alone = [&] { return Seconds([&] { PerRecord(*sessions[0], 0, 1, kRequests); }); };
    CompareTimed(state, together, alone);
}

BENCHMARK(Records)->RangeMultiplier(10)->Range(1000, 10000000)->UseManualTime()->Iterations(5);
BENCHMARK(Days)->Arg(5)->Arg(50)->Arg(250)->UseManualTime()->Iterations(5);
BENCHMARK(Sessions)->Arg(4)->Arg(16)->Arg(64)->UseManualTime()->Iterations(9);

}  // namespace
}  // namespace qrx::bench

BENCHMARK_MAIN();
