// Values of imported text: decimal numbers, dates, times and flags. All exact: a price never passes
// through floating point. Each returns nothing when the text is not such a value.
#ifndef QRX_SERVER_IMPORT_VALUES_H
#define QRX_SERVER_IMPORT_VALUES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace qrx::server {

// How a time without colons is written, leading zeros left out or not.
enum class TimeForm { Hhmmss, HhmmssCc, HhmmssMmm };

// The text times ten to the nShift, rounded half away from zero. "1.05e7" is understood. Empty,
// "-", "N/A", "nan" and numbers of 1e300 and more stand for a missing value, which is 0.
std::optional<int64_t> ParseDecimal(std::string_view strText, int nShift);

inline constexpr auto kPowersOfTen = [] {
    std::array<int64_t, 19> powers{1};
    for (size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
    return powers;
}();

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Digits with a point or without that need no rounding, as nearly all values are; false: look
// closer. (An optional is written in halves and read whole, which costs more than the digits.)
inline bool ParsePlainDecimal(std::string_view str, int nShift, int64_t& nValue) {
    if (str.size() >= kPowersOfTen.size()) return false;
    nValue = 0;
    const char* p = str.data();
    const char* const pEnd = p + str.size();
    const auto digits = [&] {
        const char* const pBegin = p;
        for (; p != pEnd && IsDigit(*p); ++p) nValue = nValue * 10 + (*p - '0');
        return static_cast<int>(p - pBegin);
    };
    int nDigits = digits();
    if (p != pEnd && *p == '.') {
        ++p;
        const int nDecimals = digits();
        nDigits += nDecimals;
        nShift -= nDecimals;
    }
    return p == pEnd && nDigits != 0 && nShift >= 0 &&
           nShift < static_cast<int>(kPowersOfTen.size()) &&
           !__builtin_mul_overflow(nValue, kPowersOfTen[static_cast<size_t>(nShift)], &nValue);
}

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
