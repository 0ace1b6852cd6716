// See the header.
#include "text/dates.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "app/failure.h"

namespace qrx::cli {
namespace {

namespace chr = std::chrono;

chr::sys_days ToDays(int nDate) {
    return chr::year_month_day(chr::year(nDate / 10000),
                               chr::month(static_cast<unsigned>(nDate / 100 % 100)),
                               chr::day(static_cast<unsigned>(nDate % 100)));
}

int FromDays(chr::sys_days days) {
    const chr::year_month_day date(days);
    return static_cast<int>(date.year()) * 10000 +
           static_cast<int>(static_cast<unsigned>(date.month())) * 100 +
           static_cast<int>(static_cast<unsigned>(date.day()));
}

// Reads the digits where the pattern has a 9 and the very characters elsewhere; -1 when the text
// has another form.
long DigitsByPattern(const std::string& strText, const std::string& strPattern) {
    if (strText.size() != strPattern.size()) return -1;
    long nDigits = 0;
    for (size_t i = 0; i < strText.size(); ++i) {
        if (strPattern[i] != '9') {
            if (strText[i] != strPattern[i]) return -1;
        } else if (strText[i] >= '0' && strText[i] <= '9') {
            nDigits = nDigits * 10 + (strText[i] - '0');
        } else {
            return -1;
        }
    }
    return nDigits;
}

}  // namespace

int TodayAtExchange() {
    constexpr auto kAhead = chr::hours(8);
    return FromDays(chr::floor<chr::days>(chr::system_clock::now() + kAhead));
}

int ParseDate(const std::string& strText, const std::string& strOption) {
    if (strText == "today") return TodayAtExchange();
    long nDate = DigitsByPattern(strText, "99999999");
    if (nDate < 0) nDate = DigitsByPattern(strText, "9999-99-99");
    const auto date = static_cast<int>(nDate);
    if (nDate < 0) {
        RefuseUsage(strOption + ": \"" + strText +
                    "\" is not a date; write one such as 20240105 or 2024-01-05");
    }
    if (date < 19000101 || FromDays(ToDays(date)) != date) {
        RefuseUsage(strOption + ": there is no day " + strText +
                    "; write one such as 20240105 or 2024-01-05");
    }
    return date;
}

int ParseTime(const std::string& strText, const std::string& strOption) {
    struct Form {
        const char* szPattern;
        int nUnit;
    };
    for (const Form& form : {Form{"99:99", 100000}, {"99:99:99", 1000}, {"99:99:99.999", 1}}) {
        const long nDigits = DigitsByPattern(strText, form.szPattern);
        const auto nTime = static_cast<int>(nDigits * form.nUnit);
        if (nDigits < 0) continue;
        if (nTime / 10000000 <= 23 && nTime / 100000 % 100 <= 59 && nTime / 1000 % 100 <= 59) {
            return nTime;
        }
    }
    RefuseUsage(strOption + ": \"" + strText +
                "\" is not a time of day; write one such as 09:30, 09:30:00 or 09:30:00.500");
}

DayRange ReadDayRange(const Arguments& arguments) {
    DayRange range{};
    range.nFrom = ParseDate(arguments.Get("--from", "today"), "--from");
    range.nTo = arguments.Has("--to") ? ParseDate(arguments.Get("--to"), "--to") : range.nFrom;
    if (range.nTo < range.nFrom) {
        RefuseUsage("--to " + DateText(range.nTo) + " is before --from " + DateText(range.nFrom) +
                    "; write the earlier day first, such as --from " + DateText(range.nTo) +
                    " --to " + DateText(range.nFrom));
    }
    if (arguments.Has("--begin")) range.nBegin = ParseTime(arguments.Get("--begin"), "--begin");
    if (arguments.Has("--end")) {
        range.nEnd = ParseTime(arguments.Get("--end"), "--end");
        // The library takes 0 for no bound.
        if (range.nEnd == 0) RefuseUsage("--end: nothing ends at midnight; write such as 15:00");
        if (range.nFrom == range.nTo && range.nEnd < range.nBegin) {
            RefuseUsage("--end " + arguments.Get("--end") + " is before --begin " +
                        arguments.Get("--begin") +
                        " on one day; write the earlier time first, or for a night also the date "
                        "on which it begins, with --from");
        }
    }
    return range;
}

std::string DayRange::Text() const {
    if (nFrom == nTo) {
        return "on " + DateText(nFrom) + (nFrom == TodayAtExchange() ? " (today)" : "");
    }
    return "from " + DateText(nFrom) + " to " + DateText(nTo);
}

std::optional<Moments> MomentsOf(const DayRange& range) {
    constexpr int kEndOfDay = 160000000;
    const std::vector<int> vecDays = Weekdays(range.nFrom, range.nTo);
    if (vecDays.empty()) return std::nullopt;
    Moments moments = {{range.nFrom, range.nBegin}, {range.nTo, range.nEnd}};
    if (range.nBegin == 0) {
        constexpr int kWeekend = 3;  // Monday's evening before is Friday's
        const int nDay = vecDays.front();
        moments.first = {Weekdays(AddDays(nDay, -kWeekend), AddDays(nDay, -1)).back(),
                         kEndOfDay + 1};
    }
    if (range.nEnd == 0) moments.last = {vecDays.back(), kEndOfDay};
    return moments;
}

std::vector<int> Weekdays(int nFrom, int nTo) {
    std::vector<int> vecDays;
    for (chr::sys_days day = ToDays(nFrom); day <= ToDays(nTo); day += chr::days(1)) {
        const chr::weekday weekday(day);
        if (weekday != chr::Saturday && weekday != chr::Sunday) vecDays.push_back(FromDays(day));
    }
    return vecDays;
}

int AddDays(int nDate, int nDays) {
    return FromDays(ToDays(nDate) + chr::days(nDays));
}

std::string DateText(int nDate) {
    char szText[16];
    snprintf(szText, sizeof szText, "%04d-%02d-%02d", nDate / 10000 % 10000, nDate / 100 % 100,
             nDate % 100);
    return szText;
}

}  // namespace qrx::cli
