// The session grids of bars: one table, one walk over a row's grid points, and the conditions that
// bars must meet to be laid onto a grid. Pure; also compiled into the server, which places its
// bars on these points, and into the tools, which check before they ask for completion.
//
// A grid point is the start of a bar's interval. Segments include their start and exclude their
// end; both are HHMMSSmmm, and a night that runs to midnight ends at 240000000.
#ifndef QRX_KLINE_GRID_H
#define QRX_KLINE_GRID_H

#include <qrx/kline.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kline/bar_calendar.h"
#include "support/date_time.h"

namespace qrx {

struct Segment {
    int nStart;
    int nEnd;
};

struct DaySession {
    std::span<const Segment> segments;
    int nFirstBar;               // the first bar of an answer must not be earlier
    const char* szFirstBarRule;  // the text of the assertion that says so
};

struct NightSession {
    std::span<const Segment> segments;  // the first one gives its overrun to what follows
    std::pair<int, int> count;          // the whole night in HHMMSS, for the number of bars
};

struct GridRow {
    const char* szMarket;
    const char* szProducts;  // beginnings of codes, in any case; empty: every code
    const DaySession* pDay;
    const NightSession* pNight;  // null: no night session
    int nFirstNightDay;          // first trading day with a night session

    bool HasNight(int nTradingDay) const {
        return pNight != nullptr && nTradingDay >= nFirstNightDay;
    }
};

// The whole table.
std::span<const GridRow> GridRows();

// The row of a security; null for a market without grids. The market in any case; the code in
// public or server form, or empty for the row of the market's remaining products.
const GridRow* FindGridRow(const std::string& strMarket, const std::string& strCode);

// The first row of a market that has a night session, or null.
const GridRow* FindNightRow(const std::string& strMarket);

// The markets with grids, in the order of the table: "SH, SZ, ...".
std::string GridMarkets();

// Bars of one day of a row.
int GridBarsADay(const GridRow& row, bool bNight, int nCycType, int nCycDef);

// Walks the grid points of trading days, which are given in ascending order. A bar that starts
// before the end of the first night segment and runs over it is carried: the next segment begins
// that much later. Only a grid point ends the carry, so a segment too short to take it hands it
// on, even to the next day.
class GridWalk {
public:
    GridWalk(const GridRow& row, int nCycType, int nCycDef)
        : m_row(row), m_nStepMs(GetBarSeconds(nCycType, nCycDef) * 1000) {}

    // visit(calendar date, time) for every grid point of a trading day.
    template <class Visit>
    void TradingDay(int nTradingDay, Visit&& visit) {
        if (m_row.HasNight(nTradingDay)) {
            NightAndDay(nTradingDay, visit);
        } else {
            DayOnly(nTradingDay, visit);
        }
    }

    template <class Visit>
    void DayOnly(int nDate, Visit&& visit) {
        for (const Segment& segment : m_row.pDay->segments) Points(segment, 0, nDate, visit);
    }

    // A segment lies in one part of the calendar day, whatever is carried into it: its points have
    // one date.
    template <class Visit>
    void NightAndDay(int nTradingDay, Visit&& visit) {
        bool bFirst = true;
        for (const auto& segments : {m_row.pNight->segments, m_row.pDay->segments}) {
            for (const Segment& segment : segments) {
                const int nDate = GetActionDay(nTradingDay, segment.nStart);
                const int nOverrunMs = Points(segment, m_nCarryMs, nDate, visit);
                if (nOverrunMs != kNoPoint) m_nCarryMs = bFirst ? nOverrunMs : 0;
                bFirst = false;
            }
        }
    }

private:
    static constexpr int kNoPoint = -1;

    // The points of a segment from nCarryMs after its start on. Returns how far the last bar runs
    // over the segment's end.
    template <class Visit>
    int Points(const Segment& segment, int nCarryMs, int nDate, Visit& visit) const {
        const int nEndMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(segment.nEnd);
        int nMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(segment.nStart) + nCarryMs;
        if (nMs >= nEndMs) return kNoPoint;
        for (; nMs < nEndMs; nMs += m_nStepMs) {
            visit(nDate, BusinessConvertor::MiniSeconds2HHMMSSmmm(nMs));
        }
        return nMs - nEndMs;
    }

    const GridRow& m_row;
    int m_nStepMs;
    int m_nCarryMs = 0;
};

// The days of bars on a row with a night session: the days before its first night come first.
struct NightDays {
    std::vector<DayRun> vecDays;  // by trading day
    size_t nDayOnlyDays = 0;
    int nDayOnlyBars = 0;

    bool AllDayOnly() const { return nDayOnlyDays == vecDays.size(); }
};
NightDays SplitNightDays(const GridRow& row, const QRXDefine_KLine* pBars, int nCount);

// Why bars cannot be laid onto a grid. Asking the library for it nevertheless stops the process.
enum class GridFault {
    kNone,
    kNoGrid,         // the market has none
    kNoBars,         // nothing to complete
    kBeforeSession,  // the first bar is earlier than the day's first segment
    kNoTradingDay,   // a bar belongs to a Saturday, a Sunday or no date
    kEarlyNight      // night bars before the product's first night
};
struct GridVerdict {
    GridFault nFault = GridFault::kNone;
    int nBar = 0;  // index of the bar in question
    int nDay = 0;  // its trading day
};
GridVerdict CheckGridConditions(const GridRow* pRow, const QRXDefine_KLine* pBars, int nCount);

// The rule that a fault breaks, as a part of a sentence.
const char* GridRule(GridFault nFault);

}  // namespace qrx

#endif
