// Laying minute bars onto the session grids, beside a plain copy of the output's bytes in the same
// run. One argument: trading days. items/s are bars of the output.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "kline/align.h"
#include "support/result_memory.h"

namespace {

// A bar for nine points in ten.
std::vector<QRXDefine_KLine> Input(const qrx::GridRow& row, int nDays) {
    std::vector<QRXDefine_KLine> bars;
    qrx::GridWalk walk(row, CYC_MINUTE, 1);
    int nDay = 20150105;
    for (int i = 0; i < nDays; ++i, nDay = GetDiffDay(nDay, 1, true)) {
        walk.TradingDay(nDay, [&](int nDate, int nTime) {
            if (nTime % 1000000 == 300000) return;
            QRXDefine_KLine bar{};
            bar.nDate = nDate;
            bar.nTime = nTime;
            bar.nClose = nTime;
            bars.push_back(bar);
        });
    }
    return bars;
}

void Align(benchmark::State& state, const char* szMarket, const char* szCode) {
    const qrx::GridRow& row = *qrx::FindGridRow(szMarket, szCode);
    std::vector<QRXDefine_KLine> input = Input(row, static_cast<int>(state.range(0)));
    QRXDefine_ReqKLine request{};
    request.nCycType = CYC_MINUTE;
    request.nCycDef = 1;
    int nBars = 0;
    for (auto _ : state) {
        MarketDataSource::KLineArray result(nullptr, 0);
        qrx::AlignBars(row, result, {input.data(), static_cast<int>(input.size())}, &request,
                       [](QRXDefine_KLine&) { return QRX_ERR_NO_DATA; });
        benchmark::DoNotOptimize(result.first);
        nBars = result.second;
        qrx::FreeResult(result.first);
    }
    state.SetItemsProcessed(state.iterations() * nBars);
    state.counters["bars"] = nBars;
}

// The output's bytes into a fresh array, which is what the caller pays for in any case.
void Copy(benchmark::State& state, const char* szMarket, const char* szCode) {
    const qrx::GridRow& row = *qrx::FindGridRow(szMarket, szCode);
    const int nADay = qrx::GridBarsADay(row, row.pNight != nullptr, CYC_MINUTE, 1);
    const std::vector<QRXDefine_KLine> from(static_cast<size_t>(nADay * state.range(0)));
    for (auto _ : state) {
        auto* pTo = qrx::NewResult<QRXDefine_KLine>(static_cast<int64_t>(from.size()));
        memcpy(static_cast<void*>(pTo), from.data(), from.size() * sizeof from[0]);
        benchmark::DoNotOptimize(pTo);
        qrx::FreeResult(pTo);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(from.size()));
}

#define DAYS ->Arg(1)->Arg(10)->Arg(50)->Arg(250)->Unit(benchmark::kMicrosecond)
BENCHMARK_CAPTURE(Align, stock, "SH", "") DAYS;
BENCHMARK_CAPTURE(Copy, stock, "SH", "") DAYS;
BENCHMARK_CAPTURE(Align, gold, "SHF", "au") DAYS;
BENCHMARK_CAPTURE(Copy, gold, "SHF", "au") DAYS;

}  // namespace

BENCHMARK_MAIN();
