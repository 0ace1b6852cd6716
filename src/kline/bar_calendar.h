// The calendar of bars: which trading day a bar belongs to, on which calendar day a bar of a
// trading day happened, and how many bars a grid holds. Pure; also compiled into the server.
//
// A trading day begins with the night before: Friday's night and Saturday's first hours belong to
// Monday. Holidays are not known here: the night before a day is that of the weekday before it.
#ifndef QRX_KLINE_BAR_CALENDAR_H
#define QRX_KLINE_BAR_CALENDAR_H

#include <qrx/kline.h>

#include <utility>
#include <vector>

// The date nDays after (negative: before) nDate by the true calendar, counting only Monday to
// Friday when bSkipWeekend is true. With nDays 0 a non-date comes back as the date it runs over
// to: 20140231 is 20140303. Not BusinessConvertor::GetDiffDay, whose months all have 31 days.
int GetDiffDay(int nDate, int nDays, bool bSkipWeekend);

int GetTradingDay(const QRXDefine_KLine* pBar);

// The inverse; a trading day on a weekend stops the process.
int GetActionDay(int nTradingDay, int nTime);

// Seconds from one bar to the next: the multiple is kept within 1 to 60 for seconds and 1 to 120
// for minutes; a cycle that is not seconds counts as minutes.
int GetBarSeconds(int nCycType, int nCycDef);

// Bars of one day's grid. Segments are pairs of HHMMSS, each rounded up to whole bars.
int GetRecordCount(const std::vector<std::pair<int, int>>& vecSeg, CYCTYPE nCycType, int nCycDef);

// Grid points from nStart to nEnd (HHMMSSmmm), both included, nUnit milliseconds apart.
int GetCountInSeg(int nStart, int nEnd, int nUnit);

// Order of two (date, time) pairs: -1, 0 or 1.
inline int cmp_date_time(const std::pair<int, int>& a, const std::pair<int, int>& b) {
    if (a.first != b.first) return a.first < b.first ? -1 : 1;
    if (a.second != b.second) return a.second < b.second ? -1 : 1;
    return 0;
}

namespace qrx {

// The parts of a calendar day that belong to trading days differently. Their bounds belong to the
// earlier part.
enum class DayPart {
    kEarly,   // up to 08:00, after a night
    kDay,     // up to 16:00
    kEvening  // the beginning of the next trading day
};
inline DayPart DayPartOf(int nTime) {
    if (nTime <= 80000000) return DayPart::kEarly;
    return nTime <= 160000000 ? DayPart::kDay : DayPart::kEvening;
}

// Consecutive bars of one day.
struct DayRun {
    int nDay;
    int nFirst;  // index of its first bar
    int nCount;
};

// The days of an array in its order: one entry for each run of bars with equal dayOf(bar).
template <class DayOf>
std::vector<DayRun> SplitDays(const QRXDefine_KLine* pBars, int nCount, DayOf dayOf) {
    std::vector<DayRun> vecRuns;
    for (int i = 0; i < nCount; ++i) {
        const int nDay = dayOf(pBars[i]);
        if (vecRuns.empty() || vecRuns.back().nDay != nDay) {
            vecRuns.push_back({nDay, i, 0});
        }
        ++vecRuns.back().nCount;
    }
    return vecRuns;
}
std::vector<DayRun> SplitByDate(const QRXDefine_KLine* pBars, int nCount);
std::vector<DayRun> SplitByTradingDay(const QRXDefine_KLine* pBars, int nCount);

}  // namespace qrx

#endif
