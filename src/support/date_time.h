// Arithmetic on integer dates (YYYYMMDD) and times (HHMMSSmmm, or HHMMSS where said).
// Pure, without validation: months of 31 days and hours beyond 23 are wanted, the grids count on
// them. Divisions truncate toward zero. The subsystems open BusinessConvertor in their own headers
// for their own converters.
#ifndef QRX_SUPPORT_DATE_TIME_H
#define QRX_SUPPORT_DATE_TIME_H

#include <cstdint>

namespace BusinessConvertor {

// The next and previous date on a calendar of 31-day months: 20140228 is followed by 20140229,
// 20140230, 20140231 and 20140301. Callers step over such non-dates as over closed days.
int GetNextYYMMDD(int nDate);
int GetPrevYYMMDD(int nDate);

// nDays steps of the two above. Not the calendar's GetDiffDay of the bars.
int GetDiffDay(int nDate, int nDays);

// 0 Sunday to 6 Saturday; 8 for a month outside 1 to 12, a day outside 1 to 31 or a year below 1.
int GetDayOfWeek(int nDate);

// "MiniSeconds" are milliseconds since midnight. Hours are not wrapped.
int HHMMSSmmm2MiniSeconds(int nTime);
int MiniSeconds2HHMMSSmmm(int nMs);
int GetDiffTime(int nTime, int nMs);
int HHMMSS2Seconds(int nTime);
int Seconds2HHMMSS(int nSeconds);

// Today's date in the local time zone.
int GetCurYYMMDD();

}  // namespace BusinessConvertor

namespace CFAlign {

// nTime (HHMMSSmmm) plus nMs, the hour taken modulo 24 and no day carried.
int TimeAdd(int nTime, int nMs);

}  // namespace CFAlign

// The clock, broken down in UTC (unlike GetCurYYMMDD, which is local: each is kept where it is
// used).
struct DateTimeInfo {
    int32_t nYear, nMonth, nDay, nHour, nMinute, nSecond, nMillisecond;

    DateTimeInfo() { GetCurDateTime(); }
    void GetCurDateTime();
    int ToYYMMDD() const { return nYear * 10000 + nMonth * 100 + nDay; }
    int ToTick() const;  // ms of the month, wrapping in 32 bits from day 25 on
};

#endif
