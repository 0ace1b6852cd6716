// Laying minute bars onto the session grids: bars of the output per second (items), beside a plain
// copy of the output's bytes, and how that grows with the days. One argument: trading days.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "compare.h"
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

class Work {
public:
    Work(const qrx::GridRow& row, int nDays) : m_row(row), m_input(Input(row, nDays)) {
        m_request.nCycType = CYC_MINUTE;
        m_request.nCycDef = 1;
        m_output.resize(static_cast<size_t>(
            nDays * qrx::GridBarsADay(row, row.pNight != nullptr, CYC_MINUTE, 1)));
    }
    size_t Bars() const { return m_output.size(); }
    void Align() {
        MarketDataSource::KLineArray result(nullptr, 0);
        qrx::AlignBars(m_row, result, {m_input.data(), static_cast<int>(m_input.size())},
                       &m_request, [](QRXDefine_KLine&) { return QRX_ERR_NO_DATA; });
        benchmark::DoNotOptimize(result.first);
        qrx::FreeResult(result.first);
    }
    // As many bytes into a fresh array, which is what the caller pays for in any case.
    void Copy() {
        auto* pTo = qrx::NewResult<QRXDefine_KLine>(static_cast<int64_t>(m_output.size()));
        memcpy(static_cast<void*>(pTo), m_output.data(), m_output.size() * sizeof m_output[0]);
        benchmark::DoNotOptimize(pTo);
        qrx::FreeResult(pTo);
    }

private:
    const qrx::GridRow& m_row;
    std::vector<QRXDefine_KLine> m_input;
    std::vector<QRXDefine_KLine> m_output;
    QRXDefine_ReqKLine m_request{};
};

// ratio: against copying the output.
void Align(benchmark::State& state, const char* szMarket, const char* szCode) {
    Work work(*qrx::FindGridRow(szMarket, szCode), static_cast<int>(state.range(0)));
    qrx::bench::Compare(
        state, [&] { work.Copy(); }, [&] { work.Align(); });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(work.Bars()));
}

// ratio: all days in one call against as many calls of one day. 1 is linear.
void Growth(benchmark::State& state, const char* szMarket, const char* szCode) {
    const qrx::GridRow& row = *qrx::FindGridRow(szMarket, szCode);
    const auto nDays = static_cast<int>(state.range(0));
    Work one(row, 1);
    Work all(row, nDays);
    qrx::bench::Compare(
        state,
        [&] {
            for (int i = 0; i < nDays; ++i) one.Align();
        },
        [&] { all.Align(); });
}

#define DAYS ->Arg(1)->Arg(10)->Arg(50)->Arg(250)->Unit(benchmark::kMicrosecond)->UseManualTime()
BENCHMARK_CAPTURE(Align, stock, "SH", "") DAYS;
BENCHMARK_CAPTURE(Align, gold, "SHF", "au") DAYS;
BENCHMARK_CAPTURE(Growth, stock, "SH", "") DAYS;
BENCHMARK_CAPTURE(Growth, gold, "SHF", "au") DAYS;

}  // namespace

BENCHMARK_MAIN();
