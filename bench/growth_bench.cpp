// The shape of growth: time per record of QRX_GetTransaction as an answer grows from a thousand
// records to ten million, a range from one day to 250, and a process from one session to 64 that
// ask at the same time. Counter "ratio": time per record over that of the case compared with (see
// each), so 1 is flat.
#include <malloc.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "compare.h"
#include "ready_server.h"

namespace qrx::bench {
namespace {

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

// The request for one record and its answer over a bare socket, received in a thread of its own
// that wakes the one that asked.
class RawExchange {
public:
    explicit RawExchange(const ReadyServer& server)
        : m_fd(server.Plain().Connect()),
          m_vecAnswer(server.Answer(0).strBytes.size()),
          m_thread([this] { Receive(); }) {
        m_request.head.sDataType = ID_ZPMTELE_REQ_SAVEDATA;
        m_request.head.nDataLen = sizeof m_request.body;
        memcpy(m_request.body.chCode, "600000", 6);
    }
    ~RawExchange() {
        shutdown(m_fd.Get(), SHUT_RDWR);
        m_thread.join();
    }
    RawExchange(const RawExchange&) = delete;
    RawExchange& operator=(const RawExchange&) = delete;

    void Once() {
        WriteAll(m_fd.Get(), &m_request, sizeof m_request);
        std::unique_lock lock(m_mutex);
        m_arrived.wait(lock, [this] { return m_bArrived; });
        m_bArrived = false;
    }

private:
    void Receive() {
        while (ReadAll(m_fd.Get(), m_vecAnswer.data(), m_vecAnswer.size())) {
            const std::lock_guard lock(m_mutex);
            m_bArrived = true;
            m_arrived.notify_one();
        }
    }

    struct {
        ZPMDefine_MessageHead head;
        ZPMDefine_RequestSaveData body;
    } m_request{};
    Descriptor m_fd;
    std::vector<char> m_vecAnswer;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    bool m_bArrived = false;
    std::thread m_thread;
};

// Whether the time of a request counts that of its exchange: a request and an answer of one record.
enum class Exchange { kCounted, kLeftOut };

// Answers of range(0) records against as many records in answers of a hundred thousand.
void Records(benchmark::State& state, Results results, Exchange exchange) {
    constexpr int kUnit = 100000;
    const auto nRecords = static_cast<int>(state.range(0));
    const int nAll = std::max(nRecords, 10 * kUnit);
    const ReadyServer server({nRecords, kUnit, 1});
    const ReadySession session(server.Port());
    const auto perRecord = [&](int nAnswer, int nEach) {
        const double nExchange =
            exchange == Exchange::kLeftOut ? PerRecord(session, 2, 1, 500) / nEach : 0;
        return Collect(session, nAnswer, 1, nAll / nEach, nAll, results) - nExchange;
    };
    CompareTimed(
        state, [&] { return perRecord(0, nRecords); }, [&] { return perRecord(1, kUnit); });
}

// What must be there for an exchange: a request, an answer, a thread that receives it and one that
// waits for it. Counter "ratio": time of a request for one record over that of its bytes.
void OneRecord(benchmark::State& state) {
    constexpr int kTimes = 2000;
    const ReadyServer server({1});
    const ReadySession session(server.Port());
    RawExchange raw(server);
    CompareTimed(
        state, [&] { return PerRecord(session, 0, 1, kTimes); },
        [&] {
            return Seconds([&] {
                       for (int i = 0; i < kTimes; ++i) raw.Once();
                   }) /
                   kTimes;
        });
}

// range(0) days of twenty thousand records each against one day, asked for as often.
void Days(benchmark::State& state, Results results) {
    const auto nDays = static_cast<int>(state.range(0));
    const ReadyServer server({kPerDay});
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
    const ReadyServer server({50000});
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

#define QRX_RECORDS(name, results, exchange)                               \
    BENCHMARK_CAPTURE(Records, name, Results::results, Exchange::exchange) \
        ->RangeMultiplier(10)                                              \
        ->Range(1000, 10000000)                                            \
        ->UseManualTime()                                                  \
        ->Iterations(5)
QRX_RECORDS(kKept, kKept, kCounted);
QRX_RECORDS(kFreed, kFreed, kCounted);
QRX_RECORDS(kKeptBesideExchange, kKept, kLeftOut);
QRX_RECORDS(kFreedBesideExchange, kFreed, kLeftOut);
BENCHMARK(OneRecord)->UseManualTime()->Iterations(9);

#define QRX_GROWTH(what)                         \
    BENCHMARK_CAPTURE(Days, what, Results::what) \
        ->Arg(5)                                 \
        ->Arg(50)                                \
        ->Arg(250)                               \
        ->UseManualTime()                        \
        ->Iterations(5)
QRX_GROWTH(kKept);
QRX_GROWTH(kFreed);
BENCHMARK(Sessions)->Arg(4)->Arg(16)->Arg(64)->UseManualTime()->Iterations(9);

}  // namespace
}  // namespace qrx::bench

BENCHMARK_MAIN();
