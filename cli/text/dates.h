// Dates (YYYYMMDD) and times of day (HHMMSSmmm) as users write them, and the walk over real days.
#ifndef QRX_CLI_TEXT_DATES_H
#define QRX_CLI_TEXT_DATES_H

#include <string>
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

// Mondays to Fridays of the range: exchanges do not trade on the other days.
std::vector<int> Weekdays(int nFrom, int nTo);

int AddDays(int nDate, int nDays);

std::string DateText(int nDate);  // 2024-01-05

}  // namespace qrx::cli

#endif
