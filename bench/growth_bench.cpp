// The shape of growth: time per record of QRX_GetTransaction as an answer grows from a thousand
// records to ten million, a range from one day to 250, and a process from one session to 64 that
// ask at the same time. Counter "ratio": time per record over that of the case compared with (see
// each), so 1 is flat.
#include <malloc.h>

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

// What becomes of a result. Kept until the end, each has to find memory of its own, as results of
// any size do in a program that collects them; freed at once, small ones get back, warm in the
// cache, what the one before had.
enum class Results { kKept, kFreed };

// Seconds per record of nTimes requests in a row.
double PerRecord(const ReadySession& session, int nAnswer, int nDays, int nTimes,
                 Results results = Results::kFreed) {
    std::vector<ReadySession::Result> kept;
    int64_t nRecords = 0;
    const double nSeconds = Seconds([&] {
        for (int i = 0; i < nTimes; ++i) {
            ReadySession::Result result = session.Transactions(nAnswer, kFirstDay, LastDay(nDays));
            nRecords += result.nCount;
            if (results == Results::kKept) kept.push_back(std::move(result));
        }
    });
    return nSeconds / static_cast<double>(nRecords);
}

// The same for nRecords records in all, with machine memory for them touched before, and nothing
// of it left with the process.
double Collect(const ReadySession& session, int nAnswer, int nDays, int nTimes, int64_t nRecords,
               Results results) {
    malloc_trim(0);
    HaveMemoryAtHand(static_cast<size_t>(nRecords) * (sizeof(QRXDefine_Transaction) + 30));
    return PerRecord(session, nAnswer, nDays, nTimes, results);
}

// Answers of range(0) records against as many records in answers of a hundred thousand.
void Records(benchmark::State& state, Results results) {
    constexpr int kUnit = 100000;
    const auto nRecords = static_cast<int>(state.range(0));
    const int nAll = std::max(nRecords, 10 * kUnit);
    const ReadyServer server({nRecords, kUnit}, kPerPacket);
    const ReadySession session(server.Port());
    CompareTimed(
        state, [&] { return Collect(session, 0, 1, nAll / nRecords, nAll, results); },
        [&] { return Collect(session, 1, 1, nAll / kUnit, nAll, results); });
}

// range(0) days of twenty thousand records each against one day, asked for as often.
void Days(benchmark::State& state, Results results) {
    const auto nDays = static_cast<int>(state.range(0));
    const ReadyServer server({kPerDay}, kPerPacket);
    const ReadySession session(server.Port());
    const int64_t nAll = int64_t{nDays} * kPerDay;
    CompareTimed(
        state, [&] { return Collect(session, 0, nDays, 1, nAll, results); },
        [&] { return Collect(session, 0, 1, nDays, nAll, results); });
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

#define QRX_GROWTH(what)                            \
    BENCHMARK_CAPTURE(Records, what, Results::what) \
        ->RangeMultiplier(10)                       \
        ->Range(1000, 10000000)                     \
        ->UseManualTime()                           \
        ->Iterations(5);                            \
    BENCHMARK_CAPTURE(Days, what, Results::what)    \
        ->Arg(5)                                    \
        ->Arg(50)                                   \
        ->Arg(250)                                  \
        ->UseManualTime()                           \
        ->Iterations(5)
QRX_GROWTH(kKept);
QRX_GROWTH(kFreed);
BENCHMARK(Sessions)->Arg(4)->Arg(16)->Arg(64)->UseManualTime()->Iterations(9);

}  // namespace
}  // namespace qrx::bench

BENCHMARK_MAIN();
