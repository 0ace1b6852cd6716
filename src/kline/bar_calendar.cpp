// See the header. Dates and times may be anything that a server sends: nothing here overflows.
#include "kline/bar_calendar.h"

#include <time.h>

#include <algorithm>
#include <cstdint>

#include "support/assertion.h"
#include "support/date_time.h"

using BusinessConvertor::GetDayOfWeek;
using qrx::DayPart;
using qrx::source::kMarketDataSource;

namespace {

constexpr int kMonday = 1;
constexpr int kFriday = 5;
constexpr int kSaturday = 6;
constexpr int kSunday = 0;

int DateOf(time_t nTime) {
    tm day{};
    gmtime_r(&nTime, &day);
    const int64_t nDate =
        (int64_t{day.tm_year} + 1900) * 10000 + (day.tm_mon + 1) * 100 + day.tm_mday;
    return static_cast<int>(nDate);
}

}  // namespace

// Reckoned in UTC, so that no time zone's summer time or skipped day can shift a date.
int GetDiffDay(int nDate, int nDays, bool bSkipWeekend) {
    constexpr int kDaySeconds = 86400;
    tm day{};
    day.tm_year = nDate / 10000 - 1900;
    day.tm_mon = nDate % 10000 / 100 - 1;
    day.tm_mday = nDate % 100;
    time_t nTime = timegm(&day);
    QRX_ASSERT(nTime != -1, "nTime != -1", kMarketDataSource);
    if (nDays == 0) return DateOf(nTime);
    const int nStep = nDays > 0 ? 1 : -1;
    for (int nCounted = 0;;) {
        nTime += nStep * kDaySeconds;
        const int nCurrent = DateOf(nTime);
        const int nWeekDay = GetDayOfWeek(nCurrent);
        if (!bSkipWeekend || (nWeekDay != kSaturday && nWeekDay != kSunday)) nCounted += nStep;
        if (nCounted == nDays) return nCurrent;
    }
}

int GetTradingDay(const QRXDefine_KLine* pBar) {
    const int nDate = pBar->nDate;
    const int nWeekDay = GetDayOfWeek(nDate);
    switch (qrx::DayPartOf(pBar->nTime)) {
        case DayPart::kEarly:
            return nWeekDay == kSaturday ? GetDiffDay(nDate, 2, false) : nDate;
        case DayPart::kEvening:
            return GetDiffDay(nDate, nWeekDay == kFriday ? 3 : 1, false);
        case DayPart::kDay:
            break;
    }
    return nDate;
}

int GetActionDay(int nTradingDay, int nTime) {
    const int nWeekDay = GetDayOfWeek(nTradingDay);
    QRX_ASSERT(nWeekDay >= kMonday && nWeekDay <= kFriday, "nWeekDay>=1 && nWeekDay<=5",
               kMarketDataSource);
    switch (qrx::DayPartOf(nTime)) {
        case DayPart::kEarly:
            return nWeekDay == kMonday ? GetDiffDay(nTradingDay, -2, false) : nTradingDay;
        case DayPart::kEvening:
            return GetDiffDay(nTradingDay, nWeekDay == kMonday ? -3 : -1, false);
        case DayPart::kDay:
            break;
    }
    return nTradingDay;
}

int GetBarSeconds(int nCycType, int nCycDef) {
    if (nCycType == CYC_SECOND) return std::clamp(nCycDef, 1, 60);
    return std::clamp(nCycDef, 1, 120) * 60;
}

int GetRecordCount(const std::vector<std::pair<int, int>>& vecSeg, CYCTYPE nCycType, int nCycDef) {
    const int nLength = GetBarSeconds(nCycType, nCycDef);
    int nCount = 0;
    for (const auto& [nStart, nEnd] : vecSeg) {
        nCount += (BusinessConvertor::HHMMSS2Seconds(nEnd) -
                   BusinessConvertor::HHMMSS2Seconds(nStart) + nLength - 1) /
                  nLength;
    }
    return nCount;
}

int GetCountInSeg(int nStart, int nEnd, int nUnit) {
    QRX_ASSERT(nUnit != 0, "nUnit", kMarketDataSource);
    const int64_t nMs = int64_t{BusinessConvertor::HHMMSSmmm2MiniSeconds(nEnd)} -
                        BusinessConvertor::HHMMSSmmm2MiniSeconds(nStart);
    return static_cast<int>(nMs / nUnit + 1);
}

namespace qrx {

std::vector<DayRun> SplitByDate(const QRXDefine_KLine* pBars, int nCount) {
    return SplitDays(pBars, nCount, [](const QRXDefine_KLine& bar) -> int { return bar.nDate; });
}

// Bars of the same calendar day and part of it share their trading day: it is reckoned once.
std::vector<DayRun> SplitByTradingDay(const QRXDefine_KLine* pBars, int nCount) {
    const QRXDefine_KLine* pKnown = nullptr;
    int nTradingDay = 0;
    return SplitDays(pBars, nCount, [&](const QRXDefine_KLine& bar) {
        if (pKnown == nullptr || pKnown->nDate != bar.nDate ||
            DayPartOf(pKnown->nTime) != DayPartOf(bar.nTime)) {
            pKnown = &bar;
            nTradingDay = GetTradingDay(&bar);
        }
        return nTradingDay;
    });
}

}  // namespace qrx
