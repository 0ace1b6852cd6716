// Values of imported text: decimal numbers, dates, times and flags. All exact: a price never passes
// through floating point. Each returns nothing when the text is not such a value.
#ifndef QRX_SERVER_IMPORT_VALUES_H
#define QRX_SERVER_IMPORT_VALUES_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace qrx::server {

// How a time without colons is written, leading zeros left out or not.
enum class TimeForm { Hhmmss, HhmmssCc, HhmmssMmm };

// The text times ten to the nShift, rounded half away from zero. "1.05e7" is understood. Empty,
// "-", "N/A", "nan" and numbers of 1e300 and more stand for a missing value, which is 0.
std::optional<int64_t> ParseDecimal(std::string_view strText, int nShift);

// The exponent of a power of ten: 2 for "100", -3 for "0.001".
std::optional<int> ParsePowerOfTen(std::string_view strText);

bool IsCalendarDate(int nDate);

// YYYYMMDD, or year, month and day with - / or . between them, short months and days allowed; what
// follows after a blank (a weekday, say) is ignored.
std::optional<int> ParseDate(std::string_view strText);

// HH:MM:SS with an optional fraction, or a plain number in the given form; returns HHMMSSmmm.
std::optional<int> ParseTime(std::string_view strText, TimeForm form);

// A date and a time with a blank or a T between them.
bool ParseDateTime(std::string_view strText, TimeForm form, int& nDate, int& nTime);

// One character stands for itself, two or three digits for a character's number, nothing for 0.
std::optional<int> ParseFlag(std::string_view strText);

}  // namespace qrx::server

#endif
