// How the benchmarks compare: yardstick and candidate take turns in the same run, and what is
// reported is the median of the ratios of neighbouring turns. A busy machine slows both.
#ifndef QRX_BENCH_COMPARE_H
#define QRX_BENCH_COMPARE_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

namespace qrx::bench {

// Processor seconds of this thread: what other processes do in between does not count.
template <class Work>
double ThreadSeconds(Work work) {
    timespec start;
    timespec end;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
    work();
    benchmark::ClobberMemory();
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - start.tv_sec) +
           static_cast<double>(end.tv_nsec - start.tv_nsec) * 1e-9;
}

template <class Work>
double Seconds(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

// Counter "ratio": how many times as fast as the yardstick the candidate is. Each returns the
// seconds of one turn.
template <class Yardstick, class Candidate>
void CompareTimed(benchmark::State& state, Yardstick yardstick, Candidate candidate) {
    std::vector<double> ratios;
    yardstick();  // both warm
    candidate();
    for (auto _ : state) {
        const double nYardstick = yardstick();
        const double nCandidate = candidate();
        ratios.push_back(nYardstick / nCandidate);
        state.SetIterationTime(nCandidate);
    }
    state.counters["ratio"] = Median(ratios);
}

// The same for work of this thread alone.
template <class Yardstick, class Candidate>
void Compare(benchmark::State& state, Yardstick yardstick, Candidate candidate) {
    CompareTimed(
        state, [&] { return ThreadSeconds(yardstick); }, [&] { return ThreadSeconds(candidate); });
}

// A small generator of its own, so that every machine measures the same streams.
class Random {
public:
    explicit Random(uint64_t nSeed) : m_nState(nSeed) {}
    uint64_t Next() {
        m_nState = m_nState * 6364136223846793005ULL + 1442695040888963407ULL;
        return m_nState >> 16;
    }
    int Below(int n) { return static_cast<int>(Next() % static_cast<uint64_t>(n)); }

private:
    uint64_t m_nState;
};

}  // namespace qrx::bench

#endif
