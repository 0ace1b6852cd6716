// One filler for every row of the grids.
#include "kline/align.h"

#include <cstring>

#include "kline/filled_bar.h"
#include "support/assertion.h"
#include "support/result_memory.h"

using qrx::source::kMarketDataSource;

int MarketDataSource::FindLessMaxOrEqual(const KLineArray& pairInput,
                                         const std::pair<int, int>& key, int nStart) {
    QRX_ASSERT(pairInput.second > 0, "pairInput.second>0", kMarketDataSource);
    if (nStart < 0) nStart = 0;
    if (pairInput.second <= nStart) return -1;
    int i = nStart;
    for (; i < pairInput.second; ++i) {
        const QRXDefine_KLine& bar = pairInput.first[i];
        if (cmp_date_time({int{bar.nDate}, int{bar.nTime}}, key) > 0) break;
    }
    return i == nStart ? -1 : i - 1;
}

namespace qrx {
namespace {

using KLineArray = MarketDataSource::KLineArray;
using InputArray = MarketDataSource::InputArray;

// Writes one output bar for each grid point it is called with. The search for input bars resumes
// from the last match: the input is walked once.
class Filler {
public:
    Filler(QRXDefine_KLine* pOut, int64_t nRoom, const KLineArray& pairInput)
        : m_pOut(pOut), m_nRoom(nRoom), m_pairInput(pairInput) {}

    // Goes on behind nOut bars that are there already, with the input bars from nStart on.
    void Resume(int64_t nOut, int nStart) {
        m_nOut = nOut;
        m_nStart = nStart;
    }

    // The first grid point of all takes the first input bar if that bar has a session's opening
    // time, and continues the bar before the range otherwise.
    void OpenWith(const QRXDefine_KLine& previous, bool bOwnBar) {
        m_pPrevious = &previous;
        m_bOwnBar = bOwnBar;
    }

    void operator()(int nDate, int nTime) {
        // The counts round every segment up and a carry only takes points away, so there is room.
        QRX_ASSERT(m_nOut < m_nRoom, "nOut < nRoom", kMarketDataSource);
        QRXDefine_KLine* pBar = m_pOut + m_nOut;
        if (m_nOut == 0) {
            Open(pBar, nDate, nTime);
        } else {
            Fill(pBar, nDate, nTime);
        }
        ++m_nOut;
    }

    // A carry may leave bars unused: they stay zero and are counted.
    void ClearRest() {
        memset(static_cast<void*>(m_pOut + m_nOut), 0,
               static_cast<size_t>(m_nRoom - m_nOut) * sizeof *m_pOut);
    }

private:
    void Open(QRXDefine_KLine* pBar, int nDate, int nTime) {
        const QRXDefine_KLine& first = m_pairInput.first[0];
        if (m_bOwnBar) {
            *pBar = first;
            return;
        }
        partial_copy_kline(pBar, m_pPrevious, nDate, nTime);
        memcpy(pBar->chCode, first.chCode, sizeof pBar->chCode);
        memcpy(pBar->chVelaCode, first.chVelaCode, sizeof pBar->chVelaCode);
    }

    void Fill(QRXDefine_KLine* pBar, int nDate, int nTime) {
        const int j = MarketDataSource::FindLessMaxOrEqual(m_pairInput, {nDate, nTime}, m_nStart);
        if (j < 0) {
            partial_copy_kline(pBar, pBar - 1, nDate, nTime);
            return;
        }
        const QRXDefine_KLine& bar = m_pairInput.first[j];
        if (bar.nDate == nDate && bar.nTime == nTime) {
            *pBar = bar;
        } else {
            partial_copy_kline(pBar, &bar, nDate, nTime);
        }
        m_nStart = j;
    }

    QRXDefine_KLine* m_pOut;
    int64_t m_nRoom;
    KLineArray m_pairInput;
    int64_t m_nOut = 0;
    int m_nStart = 0;
    const QRXDefine_KLine* m_pPrevious = nullptr;
    bool m_bOwnBar = false;
};

// The bar before the range, unless the first input bar stands at the opening itself.
int FetchPrevious(bool bOwnBar, const PreviousDaily& previous, QRXDefine_KLine& bar) {
    bar = QRXDefine_KLine{};
    if (bOwnBar) return QRX_OK;
    const int nResult = previous(bar);
    return nResult == QRX_ERR_NO_DATA ? QRX_OK : nResult;
}

KLineArray BarsOf(const InputArray& pairInput) {
    QRX_ASSERT(pairInput.first != nullptr, "pSrc", kMarketDataSource);
    QRX_ASSERT(pairInput.second > 0, "nSrcCount", kMarketDataSource);
    return {static_cast<QRXDefine_KLine*>(pairInput.first), pairInput.second};
}

// A result array under construction; released unless it is handed out.
class OutputArray {
public:
    explicit OutputArray(int64_t nCount)
        : m_pBars(NewResult<QRXDefine_KLine>(nCount)), m_nCount(nCount) {}
    ~OutputArray() { FreeResult(m_pBars); }
    OutputArray(const OutputArray&) = delete;
    OutputArray& operator=(const OutputArray&) = delete;

    QRXDefine_KLine* Get() const { return m_pBars; }
    void HandOut(KLineArray& pairResult) {
        pairResult = {std::exchange(m_pBars, nullptr), static_cast<int>(m_nCount)};
    }

private:
    QRXDefine_KLine* m_pBars;
    int64_t m_nCount;
};

int AlignNightBars(const GridRow& row, KLineArray& pairResult, const KLineArray& pairBars,
                   const QRXDefine_ReqKLine* pReq, const PreviousDaily& previous) {
    const int nCountOneDay = GridBarsADay(row, false, pReq->nCycType, pReq->nCycDef);
    const int nNightCount = GridBarsADay(row, true, pReq->nCycType, pReq->nCycDef);
    const NightDays days = SplitNightDays(row, pairBars.first, pairBars.second);
    QRX_ASSERT(!days.vecDays.empty(), "vecTradingDaySeg.size()", kMarketDataSource);
    QRX_ASSERT(days.nDayOnlyDays <= days.vecDays.size(),
               "nNonNightDayCount<=vecTradingDaySeg.size()", kMarketDataSource);
    if (days.AllDayOnly()) {
        return AlignDayBars(row, pairResult, {pairBars.first, pairBars.second}, pReq, true,
                            previous);
    }
    pairResult = {nullptr, 0};
    const int64_t nFront = static_cast<int64_t>(days.nDayOnlyDays) * nCountOneDay;
    const int64_t nTotal =
        nFront + static_cast<int64_t>(days.vecDays.size() - days.nDayOnlyDays) * nNightCount;
    OutputArray output(nTotal);
    if (output.Get() == nullptr) return QRX_ERR_MEMORY;

    Filler filler(output.Get(), nTotal, pairBars);
    QRXDefine_KLine before;
    if (days.nDayOnlyDays > 0) {
        memset(static_cast<void*>(output.Get()), 0, static_cast<size_t>(nFront) * sizeof before);
        KLineArray front(output.Get(), static_cast<int>(nFront));
        const int nResult =
            AlignDayBars(row, front, {pairBars.first, days.nDayOnlyBars}, pReq, false, previous);
        if (nResult != QRX_OK) return nResult;
        filler.Resume(nFront, days.nDayOnlyBars);
    } else {
        const bool bOwnBar = pairBars.first[0].nTime == row.pNight->segments[0].nStart;
        const int nResult = FetchPrevious(bOwnBar, previous, before);
        if (nResult != QRX_OK) return nResult;
        filler.OpenWith(before, bOwnBar);
    }
    GridWalk walk(row, pReq->nCycType, pReq->nCycDef);
    for (size_t i = days.nDayOnlyDays; i < days.vecDays.size(); ++i) {
        walk.NightAndDay(days.vecDays[i].nDay, filler);
    }
    filler.ClearRest();
    output.HandOut(pairResult);
    return QRX_OK;
}

}  // namespace

int AlignDayBars(const GridRow& row, KLineArray& pairResult, const InputArray& pairInput,
                 const QRXDefine_ReqKLine* pReq, bool bAllocResult, const PreviousDaily& previous) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    const KLineArray bars = BarsOf(pairInput);
    if (bAllocResult) pairResult = {nullptr, 0};
    const int nCountOneDay = GridBarsADay(row, false, pReq->nCycType, pReq->nCycDef);
    const std::vector<DayRun> vecDaySeg = SplitByDate(bars.first, bars.second);
    QRX_ASSERT(!vecDaySeg.empty(), "vecDaySeg.size()", kMarketDataSource);
    const DaySession& session = *row.pDay;
    const int nFirstTime = bars.first[0].nTime;
    QRX_ASSERT(nFirstTime >= session.nFirstBar, session.szFirstBarRule, kMarketDataSource);
    const bool bOwnBar = nFirstTime == session.nFirstBar;
    QRXDefine_KLine before;
    const int nResult = FetchPrevious(bOwnBar, previous, before);
    if (nResult != QRX_OK) return nResult;

    const int64_t nTotal = static_cast<int64_t>(vecDaySeg.size()) * nCountOneDay;
    const auto fill = [&](QRXDefine_KLine* pOut) {
        Filler filler(pOut, nTotal, bars);
        filler.OpenWith(before, bOwnBar);
        GridWalk walk(row, pReq->nCycType, pReq->nCycDef);
        for (const DayRun& run : vecDaySeg) walk.DayOnly(run.nDay, filler);
    };
    if (!bAllocResult) {
        QRX_ASSERT(pairResult.second >= nTotal,
                   "pairResult.second >= vecDaySeg.size()*nCountOneDay", kMarketDataSource);
        fill(pairResult.first);
        return QRX_OK;
    }
    OutputArray output(nTotal);
    if (output.Get() == nullptr) return QRX_ERR_MEMORY;
    fill(output.Get());
    output.HandOut(pairResult);
    return QRX_OK;
}

int AlignBars(const GridRow& row, KLineArray& pairResult, const InputArray& pairInput,
              const QRXDefine_ReqKLine* pReq, const PreviousDaily& previous) {
    if (row.pNight == nullptr) {
        return AlignDayBars(row, pairResult, pairInput, pReq, true, previous);
    }
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    return AlignNightBars(row, pairResult, BarsOf(pairInput), pReq, previous);
}

}  // namespace qrx
