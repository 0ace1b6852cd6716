// Completion of a caller's own bars on the stock sessions. Its grid is its own and stays apart from
// the table of grids: both ends of a segment are points, the multiple has no upper limit, and a
// range may cut points off the first and the last day.
#include <algorithm>
#include <climits>
#include <cstring>

#include "kline/bar_calendar.h"
#include "kline/filled_bar.h"
#include "session/data_source.h"
#include "support/assertion.h"
#include "support/date_time.h"
#include "support/result_memory.h"

using qrx::source::kMarketDataSource;

namespace {

constexpr std::pair<int, int> kSegments[] = {{93000000, 113000000}, {130000000, 150000000}};

// Bounds of the first and the last day; 0 means none.
struct Range {
    int nBeginDate, nBeginTime, nEndDate, nEndTime;

    bool Skips(int nDate, int nTime) const {
        const bool bBegin = nDate == nBeginDate && nBeginDate != 0 && nBeginTime != 0;
        const bool bEnd = nDate == nEndDate && nEndDate != 0 && nEndTime != 0;
        return (bBegin && nTime < nBeginTime) || (bEnd && nTime > nEndTime);
    }
};

class Completer {
public:
    Completer(QRXDefine_KLine* pOut, const QRXDefine_KLine* pSrc, int nSrcCount, int nPreClose)
        : m_pOut(pOut), m_pSrc(pSrc), m_nSrcCount(nSrcCount), m_nPreClose(nPreClose) {}

    int Count() const { return m_nOut; }

    void Add(int nDate, int nTime) {
        QRXDefine_KLine& bar = m_pOut[m_nOut];
        bar.nDate = nDate;
        bar.nTime = nTime;
        while (HasCursor() && m_pSrc[m_nCursor].nDate < nDate) ++m_nCursor;
        while (HasCursor() && m_pSrc[m_nCursor].nDate == nDate && m_pSrc[m_nCursor].nTime < nTime) {
            ++m_nCursor;
        }
        Fill(bar);
        ++m_nOut;
    }

private:
    bool HasCursor() const { return m_nCursor < m_nSrcCount; }

    void Fill(QRXDefine_KLine& bar) {
        using BusinessConvertor::SetAutoCompleteKLine;
        if (!HasCursor()) {
            QRX_ASSERT(m_nCursor - 1 >= 0, "cursor_org-1>=0", kMarketDataSource);
            SetAutoCompleteKLine(bar, m_pSrc[m_nCursor - 1]);
            return;
        }
        const QRXDefine_KLine& next = m_pSrc[m_nCursor];
        if (next.nDate == bar.nDate && next.nTime == bar.nTime) {
            bar = next;
        } else if (m_nOut == 0) {
            SetAutoCompleteKLine(bar, next);
            if (m_nPreClose != 0) {
                bar.nOpen = bar.nHigh = bar.nLow = bar.nClose = m_nPreClose;
            }
        } else {
            SetAutoCompleteKLine(bar, m_nCursor == 0 ? m_pOut[m_nOut - 1] : m_pSrc[m_nCursor - 1]);
        }
    }

    QRXDefine_KLine* m_pOut;
    const QRXDefine_KLine* m_pSrc;
    int m_nSrcCount;
    int m_nPreClose;
    int m_nOut = 0;
    int m_nCursor = 0;
};

}  // namespace

int MarketDataSource::AutoCompleteKLine(QRXDefine_KLine** ppOut, int* pOutCount, int nPreClose,
                                        const QRXDefine_KLine* pSrc, int nSrcCount, const char*,
                                        const char*, CYCTYPE nCycType, int nCycDef, int nBeginDate,
                                        int nBeginTime, int nEndDate, int nEndTime) {
    if (ppOut == nullptr || pOutCount == nullptr || pSrc == nullptr || nSrcCount <= 0 ||
        (nCycType != CYC_SECOND && nCycType != CYC_MINUTE)) {
        return QRX_ERR_ARGUMENT;
    }
    // A step beyond any segment is as good as any other: one point a segment.
    const int64_t nLongStep = int64_t{nCycType == CYC_MINUTE ? 60000 : 1000} * std::max(nCycDef, 1);
    const int nStep = static_cast<int>(std::min<int64_t>(nLongStep, INT_MAX));
    int nPointsADay = 0;
    for (const auto& [nStart, nEnd] : kSegments) nPointsADay += GetCountInSeg(nStart, nEnd, nStep);
    const std::vector<qrx::DayRun> vecDays = qrx::SplitByDate(pSrc, nSrcCount);
    QRX_ASSERT(!vecDays.empty(), "vecCountEachDayOrg.size()", kMarketDataSource);
    const int64_t nTotal = static_cast<int64_t>(vecDays.size()) * nPointsADay;
    auto* pOut = qrx::NewResult<QRXDefine_KLine>(nTotal);
    *ppOut = pOut;
    *pOutCount = 0;
    if (pOut == nullptr) return QRX_ERR_MEMORY;

    const Range range{nBeginDate, nBeginTime, nEndDate, nEndTime};
    Completer completer(pOut, pSrc, nSrcCount, nPreClose);
    for (const qrx::DayRun& run : vecDays) {
        for (const auto& [nStart, nEnd] : kSegments) {
            const int nStartMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(nStart);
            const int nPoints = GetCountInSeg(nStart, nEnd, nStep);
            for (int i = 0; i < nPoints; ++i) {
                const int nTime = BusinessConvertor::MiniSeconds2HHMMSSmmm(nStartMs + i * nStep);
                if (!range.Skips(run.nDay, nTime)) completer.Add(run.nDay, nTime);
            }
        }
    }
    *pOutCount = completer.Count();
    memset(static_cast<void*>(pOut + *pOutCount), 0,
           static_cast<size_t>(nTotal - *pOutCount) * sizeof *pOut);
    return QRX_OK;
}
