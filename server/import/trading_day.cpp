// The calendar behind trading days.
#include "import/trading_day.h"

#include "import/values.h"
#include "support/date_time.h"

namespace qrx::server {
namespace {

// A gap longer than this is a hole in the file and no holiday.
constexpr int kLongestHoliday = 14;

bool IsWeekday(int nDate) {
    const int n = BusinessConvertor::GetDayOfWeek(nDate);
    return n >= 1 && n <= 5;
}

}  // namespace

int NextCalendarDay(int nDate) {
    do nDate = BusinessConvertor::GetNextYYMMDD(nDate);
    while (!IsCalendarDate(nDate));
    return nDate;
}

int PreviousCalendarDay(int nDate) {
    do nDate = BusinessConvertor::GetPrevYYMMDD(nDate);
    while (!IsCalendarDate(nDate));
    return nDate;
}

int TradingDays::DayOfNight(int nDate, int nTime) const {
    const int nFirst = IsEvening(nTime) ? NextCalendarDay(nDate) : nDate;
    const auto it = m_setDays.lower_bound(nFirst);
    if (it != m_setDays.end()) {
        int nDay = nFirst;
        for (int i = 0; i < kLongestHoliday && nDay < *it; ++i) nDay = NextCalendarDay(nDay);
        if (nDay == *it) return *it;
    }
    int nDay = nFirst;
    while (!IsWeekday(nDay)) nDay = NextCalendarDay(nDay);
    return nDay;
}

int TradingDays::DateOfNight(int nDay, int nTime) const {
    int nEvening = PreviousCalendarDay(nDay);
    while (!IsWeekday(nEvening)) nEvening = PreviousCalendarDay(nEvening);
    auto it = m_setDays.lower_bound(nDay);
    if (it != m_setDays.begin()) {
        int nDate = nDay;
        --it;
        for (int i = 0; i < kLongestHoliday && nDate > *it; ++i) nDate = PreviousCalendarDay(nDate);
        if (nDate == *it) nEvening = *it;
    }
    return IsEvening(nTime) ? nEvening : NextCalendarDay(nEvening);
}

}  // namespace qrx::server
