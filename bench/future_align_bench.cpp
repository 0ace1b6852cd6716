// Completing one day of snapshots, in slots per second (items), beside copying the finished grid:
// no completion can be faster than its output is written. Grids: 0 SHF, 1 DCE, 2 CF, 3 with a
// night. Dense days have a record in every slot, sparse ones one in fifty.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "compare.h"
#include "futures/completion.h"
#include "support/date_time.h"
#include "support/result_memory.h"

namespace {

enum class Grid { kSHF, kDCE, kCF, kNight };

template <class T>
int Align(Grid eGrid, T** ppDay, unsigned* pItems) {
    constexpr unsigned kDate = 20170103;
    switch (eGrid) {
        case Grid::kSHF:
            return BusinessConvertor::AutoAlignFutureOneDaySHF(ppDay, pItems, kDate);
        case Grid::kDCE:
            return BusinessConvertor::AutoAlignFutureOneDayDCE(ppDay, pItems, kDate);
        case Grid::kCF:
            return BusinessConvertor::AutoAlignFutureOneDayCF(ppDay, pItems, kDate);
        default:
            return BusinessConvertor::AutoAlignFutureOneDayNightSHF(ppDay, pItems, kDate);
    }
}

// Records of a whole day, one in every nStepMs milliseconds of the sessions.
template <class T>
std::vector<T> MakeDay(Grid eGrid, int nStepMs) {
    std::vector<T> day;
    const auto add = [&](int nDate, int nFirst, int nLast) {
        for (int nTime = nFirst; nTime < nLast; nTime = CFAlign::TimeAdd(nTime, nStepMs)) {
            T record{};
            record.nDate = nDate;
            record.nTime = nTime;
            record.iVolume = static_cast<int64_t>(day.size());
            day.push_back(record);
            if (CFAlign::TimeAdd(nTime, nStepMs) < nTime) break;
        }
    };
    const bool bCF = eGrid == Grid::kCF;
    if (eGrid == Grid::kNight) {
        add(20170102, 205500000, 235959999);
        add(20170103, 0, 23000000);
    }
    add(20170103, bCF ? 91000000 : 85000000, bCF ? 91000001 : 85000001);
    add(20170103, bCF ? 91500000 : 90000000, 113000000);
    add(20170103, bCF ? 130000000 : 133000000, bCF ? 151500000 : 150000000);
    return day;
}

template <class T>
T* CopyOf(const T* pFrom, size_t nCount) {
    T* pCopy = qrx::NewResult<T>(static_cast<int64_t>(nCount));
    memcpy(static_cast<void*>(pCopy), pFrom, nCount * sizeof(T));
    benchmark::DoNotOptimize(pCopy);
    return pCopy;
}

// ratio: against allocating and copying the same output.
template <class T>
void Complete(benchmark::State& state) {
    const auto eGrid = static_cast<Grid>(state.range(0));
    const std::vector<T> day = MakeDay<T>(eGrid, state.range(1) != 0 ? 500 : 25000);
    T* pGrid = nullptr;
    unsigned nSlots = 0;
    const auto complete = [&] {
        qrx::FreeResult(pGrid);
        pGrid = CopyOf(day.data(), day.size());  // completion releases its input
        nSlots = static_cast<unsigned>(day.size());
        return qrx::bench::ThreadSeconds([&] {
            if (Align(eGrid, &pGrid, &nSlots) != 0) state.SkipWithError("no memory");
            benchmark::DoNotOptimize(pGrid);
        });
    };
    complete();
    const std::vector<T> grid(pGrid, pGrid + nSlots);
    qrx::bench::CompareTimed(
        state,
        [&] {
            T* pCopy = nullptr;
            const double nSeconds =
                qrx::bench::ThreadSeconds([&] { pCopy = CopyOf(grid.data(), grid.size()); });
            qrx::FreeResult(pCopy);
            return nSeconds;
        },
        complete);
    qrx::FreeResult(pGrid);
    state.SetItemsProcessed(state.iterations() * nSlots);
}

void Days(benchmark::internal::Benchmark* pBench) {
    pBench->ArgNames({"grid", "dense"})->Unit(benchmark::kMicrosecond)->UseManualTime();
    for (int nGrid = 0; nGrid < 4; ++nGrid) {
        for (int nDense = 0; nDense < 2; ++nDense) pBench->Args({nGrid, nDense});
    }
}

BENCHMARK_TEMPLATE(Complete, QRXDefine_Future)->Apply(Days);
BENCHMARK_TEMPLATE(Complete, QRXDefine_FutureAB)->Apply(Days);

}  // namespace

BENCHMARK_MAIN();
