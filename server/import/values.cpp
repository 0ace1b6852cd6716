// Parsers over string views; none of them allocates.
#include "import/values.h"

#include <strings.h>

#include <charconv>

namespace qrx::server {
namespace {

std::string_view Trim(std::string_view str) {
    while (!str.empty() && (str.front() == ' ' || str.front() == '\t')) str.remove_prefix(1);
    while (!str.empty() && (str.back() == ' ' || str.back() == '\t')) str.remove_suffix(1);
    return str;
}

bool Is(std::string_view str, std::string_view strWord) {
    return str.size() == strWord.size() && strncasecmp(str.data(), strWord.data(), str.size()) == 0;
}

std::optional<int> ParseDigits(std::string_view str) {
    int n = 0;
    const auto [p, error] = std::from_chars(str.data(), str.data() + str.size(), n);
    if (str.empty() || !IsDigit(str[0]) || error != std::errc() || p != str.data() + str.size()) {
        return std::nullopt;
    }
    return n;
}

std::optional<int> ClockTime(int nHour, int nMinute, int nSecond, int nMs) {
    if (nHour > 23 || nMinute > 59 || nSecond > 59) return std::nullopt;
    return ((nHour * 100 + nMinute) * 100 + nSecond) * 1000 + nMs;
}

// HH:MM:SS and HH:MM:SS.mmm.
std::optional<int> ParsePlainTime(std::string_view str) {
    const auto digits = [&](size_t i) {
        return IsDigit(str[i]) && IsDigit(str[i + 1]) ? (str[i] - '0') * 10 + (str[i + 1] - '0')
                                                      : 100;
    };
    if ((str.size() != 8 && str.size() != 12) || str[2] != ':' || str[5] != ':') {
        return std::nullopt;
    }
    int nMs = 0;
    if (str.size() == 12) {
        if (str[8] != '.' || digits(9) == 100 || !IsDigit(str[11])) return std::nullopt;
        nMs = digits(9) * 10 + (str[11] - '0');
    }
    return ClockTime(digits(0), digits(3), digits(6), nMs);
}

}  // namespace

std::optional<int64_t> ParseDecimal(std::string_view strText, int nShift) {
    if (int64_t nValue; ParsePlainDecimal(strText, nShift, nValue)) return nValue;
    std::string_view str = Trim(strText);
    if (str.empty() || str == "-" || Is(str, "N/A") || Is(str, "nan") || Is(str, "null")) return 0;
    bool bNegative = false;
    if (str[0] == '-' || str[0] == '+') {
        bNegative = str[0] == '-';
        str.remove_prefix(1);
    }
    // The first 18 significant digits are kept; digits behind them only count for the magnitude.
    int64_t nMantissa = 0;
    int nDigits = 0;
    int nExponent = nShift;
    bool bPoint = false;
    bool bAny = false;
    size_t i = 0;
    for (; i < str.size() && (IsDigit(str[i]) || (str[i] == '.' && !bPoint)); ++i) {
        if (str[i] == '.') {
            bPoint = true;
            continue;
        }
        bAny = true;
        if (nDigits < 18) {
            nMantissa = nMantissa * 10 + (str[i] - '0');
            if (nMantissa != 0) ++nDigits;
            if (bPoint) --nExponent;
        } else if (!bPoint) {
            ++nExponent;
        }
    }
    if (!bAny) return std::nullopt;
    if (i < str.size()) {
        if (str[i] != 'e' && str[i] != 'E') return std::nullopt;
        std::string_view strExponent = str.substr(i + 1);
        bool bDown = false;
        if (!strExponent.empty() && (strExponent[0] == '+' || strExponent[0] == '-')) {
            bDown = strExponent[0] == '-';
            strExponent.remove_prefix(1);
        }
        const auto n = ParseDigits(strExponent);
        if (!n || *n > 400) return std::nullopt;
        if (!bDown && *n >= 300) return 0;
        nExponent += bDown ? -*n : *n;
    }
    for (; nExponent > 0 && nMantissa != 0; --nExponent) {
        if (__builtin_mul_overflow(nMantissa, 10, &nMantissa)) return std::nullopt;
    }
    int nDropped = 0;
    for (; nExponent < 0 && (nMantissa != 0 || nDropped != 0); ++nExponent) {
        nDropped = static_cast<int>(nMantissa % 10);
        nMantissa /= 10;
    }
    if (nDropped >= 5) ++nMantissa;
    return bNegative ? -nMantissa : nMantissa;
}

std::optional<int> ParsePowerOfTen(std::string_view strText) {
    for (int n = -9; n <= 9; ++n) {
        // The text is 10^n when it counts as exactly 1 after a shift by -n, and as 10 after one
        // more.
        if (ParseDecimal(strText, -n) == 1 && ParseDecimal(strText, 9 - n) == 1000000000) return n;
    }
    return std::nullopt;
}

bool IsCalendarDate(int nDate) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int nYear = nDate / 10000;
    const int nMonth = nDate / 100 % 100;
    const int nDay = nDate % 100;
    if (nYear < 1900 || nYear > 9999 || nMonth < 1 || nMonth > 12) return false;
    const bool bLeap = (nYear % 4 == 0 && nYear % 100 != 0) || nYear % 400 == 0;
    return nDay >= 1 && nDay <= kDays[nMonth - 1] + (nMonth == 2 && bLeap ? 1 : 0);
}

std::optional<int> ParseDate(std::string_view strText) {
    std::string_view str = Trim(strText);
    str = str.substr(0, str.find(' '));
    int nDate = 0;
    const size_t nFirst = str.find_first_of("-/.");
    if (nFirst == std::string_view::npos) {
        const auto n = ParseDigits(str);
        if (!n) return std::nullopt;
        nDate = *n;
    } else {
        const size_t nSecond = str.find(str[nFirst], nFirst + 1);
        if (nSecond == std::string_view::npos) return std::nullopt;
        const auto nYear = ParseDigits(str.substr(0, nFirst));
        const auto nMonth = ParseDigits(str.substr(nFirst + 1, nSecond - nFirst - 1));
        const auto nDay = ParseDigits(str.substr(nSecond + 1));
        if (!nYear || !nMonth || !nDay || *nYear > 9999 || *nMonth > 12 || *nDay > 31) {
            return std::nullopt;
        }
        nDate = *nYear * 10000 + *nMonth * 100 + *nDay;
    }
    if (!IsCalendarDate(nDate)) return std::nullopt;
    return nDate;
}

std::optional<int> ParseTime(std::string_view strText, TimeForm form) {
    if (const auto time = ParsePlainTime(strText)) return time;
    std::string_view str = Trim(strText);
    const size_t nFirst = str.find(':');
    if (nFirst == std::string_view::npos) {
        const auto n = ParseDigits(str);
        if (!n) return std::nullopt;
        const int nPerSecond = form == TimeForm::Hhmmss     ? 1
                               : form == TimeForm::HhmmssCc ? 100
                                                            : 1000;
        const int nSeconds = *n / nPerSecond;
        return ClockTime(nSeconds / 10000, nSeconds / 100 % 100, nSeconds % 100,
                         *n % nPerSecond * (1000 / nPerSecond));
    }
    int nMs = 0;
    const size_t nPoint = str.find('.');
    if (nPoint != std::string_view::npos) {
        int nScale = 100;
        for (const char c : str.substr(nPoint + 1)) {
            if (!IsDigit(c)) return std::nullopt;
            nMs += (c - '0') * nScale;
            nScale /= 10;
        }
        str = str.substr(0, nPoint);
    }
    const size_t nSecond = str.find(':', nFirst + 1);
    const auto nHour = ParseDigits(str.substr(0, nFirst));
    const auto nMinute = ParseDigits(
        str.substr(nFirst + 1, nSecond == std::string_view::npos ? nSecond : nSecond - nFirst - 1));
    const auto nSeconds = nSecond == std::string_view::npos ? std::optional<int>(0)
                                                            : ParseDigits(str.substr(nSecond + 1));
    if (!nHour || !nMinute || !nSeconds) return std::nullopt;
    return ClockTime(*nHour, *nMinute, *nSeconds, nMs);
}

bool ParseDateTime(std::string_view strText, TimeForm form, int& nDate, int& nTime) {
    const std::string_view str = Trim(strText);
    const size_t nGap = str.find_first_of("T ");
    if (nGap == std::string_view::npos) return false;
    const auto date = ParseDate(str.substr(0, nGap));
    const auto time = ParseTime(str.substr(nGap + 1), form);
    if (!date || !time) return false;
    nDate = *date;
    nTime = *time;
    return true;
}

std::optional<int> ParseFlag(std::string_view strText) {
    const std::string_view str = Trim(strText);
    if (str.empty()) return 0;
    if (str.size() == 1) return static_cast<signed char>(str[0]);
    const auto n = ParseDigits(str);
    if (!n || str.size() > 3 || *n > 127) return std::nullopt;
    return n;
}

}  // namespace qrx::server
