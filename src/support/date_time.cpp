// See the header: every simplification here is relied upon by the grids.
#include "support/date_time.h"

#include <sys/time.h>
#include <time.h>

namespace {

// Wraps where a year is too large for 32 bits.
int FromParts(int nYear, int nMonth, int nDay) {
    return static_cast<int>(static_cast<unsigned>(nYear) * 10000U +
                            static_cast<unsigned>(nMonth * 100 + nDay));
}

}  // namespace

namespace BusinessConvertor {

int GetNextYYMMDD(int nDate) {
    const int nYear = nDate / 10000;
    int nMonth = nDate % 10000 / 100;
    int nDay = nDate % 100 + 1;
    if (nDay > 31) {
        nMonth += 1;
        nDay = 1;
    }
    if (nMonth >= 13) return FromParts(nYear + 1, 1, nDay);
    return FromParts(nYear, nMonth, nDay);
}

int GetPrevYYMMDD(int nDate) {
    const int nYear = nDate / 10000;
    int nMonth = nDate % 10000 / 100;
    int nDay = nDate % 100 - 1;
    if (nDay < 1) {
        nMonth -= 1;
        nDay = 31;
    }
    if (nMonth < 1) return FromParts(nYear - 1, 12, nDay);
    return FromParts(nYear, nMonth, nDay);
}

int GetDiffDay(int nDate, int nDays) {
    for (; nDays > 0; --nDays) nDate = GetNextYYMMDD(nDate);
    for (; nDays < 0; ++nDays) nDate = GetPrevYYMMDD(nDate);
    return nDate;
}

int GetDayOfWeek(int nDate) {
    int nYear = nDate / 10000;
    int nMonth = nDate % 10000 / 100;
    const int nDay = nDate % 100;
    if (nYear <= 0 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31) return 8;
    if (nMonth < 3) {
        nMonth += 12;
        nYear -= 1;
    }
    return (nDay + 2 * nMonth + 3 * (nMonth + 1) / 5 + nYear + nYear / 4 - nYear / 100 +
            nYear / 400 + 1) %
           7;
}

// The conversions compute in unsigned arithmetic where a wild time of a peer could overflow:
// the result is the wrapped one, without undefined behaviour.
int HHMMSSmmm2MiniSeconds(int nTime) {
    const int nSeconds = HHMMSS2Seconds(nTime / 1000);
    return static_cast<int>(static_cast<unsigned>(nSeconds) * 1000U +
                            static_cast<unsigned>(nTime % 1000));
}

int MiniSeconds2HHMMSSmmm(int nMs) {
    return static_cast<int>(static_cast<unsigned>(Seconds2HHMMSS(nMs / 1000)) * 1000U +
                            static_cast<unsigned>(nMs % 1000));
}

int GetDiffTime(int nTime, int nMs) {
    return MiniSeconds2HHMMSSmmm(static_cast<int>(
        static_cast<unsigned>(HHMMSSmmm2MiniSeconds(nTime)) + static_cast<unsigned>(nMs)));
}

int HHMMSS2Seconds(int nTime) {
    return nTime / 10000 * 3600 + nTime % 10000 / 100 * 60 + nTime % 100;
}

int Seconds2HHMMSS(int nSeconds) {
    return nSeconds / 3600 * 10000 + nSeconds % 3600 / 60 * 100 + nSeconds % 60;
}

int GetCurYYMMDD() {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    return (local.tm_year + 1900) * 10000 + (local.tm_mon + 1) * 100 + local.tm_mday;
}

}  // namespace BusinessConvertor

namespace CFAlign {

int TimeAdd(int nTime, int nMs) {
    const int nMilli = nTime % 1000 + nMs;
    const int nSec = nMilli / 1000 + nTime % 100000 / 1000;
    const int nMin = nSec / 60 + nTime % 10000000 / 100000;
    const int nHour = (nMin / 60 + nTime / 10000000) % 24;
    return nHour * 10000000 + nMin % 60 * 100000 + nSec % 60 * 1000 + nMilli % 1000;
}

}  // namespace CFAlign

void DateTimeInfo::GetCurDateTime() {
    timeval now;
    gettimeofday(&now, nullptr);
    tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    nYear = utc.tm_year + 1900;
    nMonth = utc.tm_mon + 1;
    nDay = utc.tm_mday;
    nHour = utc.tm_hour;
    nMinute = utc.tm_min;
    nSecond = utc.tm_sec;
    nMillisecond = static_cast<int32_t>(now.tv_usec / 1000);
}

int DateTimeInfo::ToTick() const {
    return static_cast<int>(
        static_cast<unsigned>(nDay) * 86400000U + static_cast<unsigned>(nHour) * 3600000U +
        static_cast<unsigned>(nMinute) * 60000U + static_cast<unsigned>(nSecond) * 1000U +
        static_cast<unsigned>(nMillisecond));
}
