// See the header.
#include "output/cell.h"

#include <charconv>

namespace qrx::cli {
namespace {

void AppendInteger(int64_t nValue, std::string& out) {
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, nValue);
    out.append(digits, result.ptr);
}

// nWidth digits, zeros in front.
void AppendPadded(int64_t nValue, int nWidth, std::string& out) {
    std::string strDigits;
    AppendInteger(nValue, strDigits);
    for (auto n = static_cast<int>(strDigits.size()); n < nWidth; ++n) out += '0';
    out += strDigits;
}

void AppendDecimal(int64_t nValue, int nDigits, std::string& out) {
    std::string strDigits;
    AppendInteger(nValue, strDigits);
    if (strDigits[0] == '-') {
        out += '-';
        strDigits.erase(0, 1);
    }
    const auto nDecimals = static_cast<size_t>(nDigits);
    if (strDigits.size() <= nDecimals) strDigits.insert(0, nDecimals + 1 - strDigits.size(), '0');
    out.append(strDigits, 0, strDigits.size() - nDecimals);
    if (nDecimals > 0) out.append(".").append(strDigits, strDigits.size() - nDecimals);
}

void AppendDate(int64_t nDate, std::string& out) {
    AppendPadded(nDate / 10000, 4, out);
    out += '-';
    AppendPadded(nDate / 100 % 100, 2, out);
    out += '-';
    AppendPadded(nDate % 100, 2, out);
}

void AppendTime(int64_t nTime, std::string& out) {
    AppendPadded(nTime / 10000000, 2, out);
    out += ':';
    AppendPadded(nTime / 100000 % 100, 2, out);
    out += ':';
    AppendPadded(nTime / 1000 % 100, 2, out);
    out += '.';
    AppendPadded(nTime % 1000, 3, out);
}

}  // namespace

void AppendCell(const Column& column, const Cell& cell, const CellStyle& style, std::string& out) {
    constexpr int64_t kLastDate = 99999999;
    constexpr int64_t kLastTime = 999999999;
    const int64_t n = cell.nValue;
    if (column.kind == Kind::Text) {
        out += cell.text;
    } else if (style.bRaw) {
        AppendInteger(n, out);
    } else if (column.kind == Kind::Price || column.kind == Kind::Amount) {
        AppendDecimal(n, style.nPriceDigits, out);
    } else if (column.kind == Kind::Date && n >= 0 && n <= kLastDate) {
        AppendDate(n, out);
    } else if (column.kind == Kind::Time && n >= 0 && n <= kLastTime) {
        AppendTime(n, out);
    } else if (column.kind == Kind::Flag && n == 0) {
        return;
    } else if (column.kind == Kind::Flag && n > ' ' && n < 0x7F) {
        out += static_cast<char>(n);
    } else {
        AppendInteger(n, out);
    }
}

}  // namespace qrx::cli
