// Dates (YYYYMMDD) and times of day (HHMMSSmmm) as users write them, and the walk over real days.
#ifndef QRX_CLI_TEXT_DATES_H
#define QRX_CLI_TEXT_DATES_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/arguments.h"

namespace qrx::cli {

// The exchanges' date: eight hours ahead of UTC, without summer time.
int TodayAtExchange();

// 20240105, 2024-01-05 or today; 09:30, 09:30:00 or 09:30:00.500. strOption names the option in
// the sentence of a refusal.
int ParseDate(const std::string& strText, const std::string& strOption);
int ParseTime(const std::string& strText, const std::string& strOption);

// The options --from, --to, --begin and --end; times are 0 when not given.
struct DayRange {
    int nFrom;
    int nTo;
    int nBegin;
    int nEnd;
    std::string Text() const;  // "on 2024-01-05", "from 2024-01-05 to 2024-01-12"
};
DayRange ReadDayRange(const Arguments& arguments);

// Date and time of the first and the last moment that the range can hold. A trading day goes from
// the evening of the weekday before, after 16:00, to its own afternoon; --begin and --end leave the
// evening out. Nothing for a range without a weekday.
struct Moments {
    std::pair<int, int> first;
    std::pair<int, int> last;
};
std::optional<Moments> MomentsOf(const DayRange& range);

// Mondays to Fridays of the range: exchanges do not trade on the other days.
std::vector<int> Weekdays(int nFrom, int nTo);

int AddDays(int nDate, int nDays);

std::string DateText(int nDate);  // 2024-01-05

}  // namespace qrx::cli

#endif
