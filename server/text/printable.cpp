// The escapes, and where a long text is cut.
#include "text/printable.h"

#include <cstdio>

#include "text/encoding.h"

namespace qrx::server {
namespace {

// Enough for the longest sentence of our own, which lists every column of an import.
constexpr size_t kLegibleBegin = 4000;
constexpr size_t kLegibleEnd = 60;

std::string Escaped(std::string_view strText, bool bAsciiOnly) {
    std::string strOut;
    for (const char c : strText) {
        const auto nByte = static_cast<unsigned char>(c);
        if (nByte < 0x20 || nByte == 0x7F || (bAsciiOnly && (nByte > 0x7F || c == '\\'))) {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(nByte));
            strOut += hex;
        } else {
            strOut += c;
        }
    }
    return strOut;
}

// Where no character of UTF-8 is cut: at n or a little before it.
size_t Boundary(const std::string& strText, size_t n) {
    while (n > 0 && (static_cast<unsigned char>(strText[n]) & 0xC0) == 0x80) --n;
    return n;
}

}  // namespace

std::string Printable(std::string_view strText) {
    return Escaped(strText, true);
}

std::string Legible(std::string_view strText) {
    std::string strOut = Escaped(strText, !ToUtf8(strText, "UTF-8"));
    if (strOut.size() <= kLegibleBegin + kLegibleEnd) return strOut;
    return strOut.substr(0, Boundary(strOut, kLegibleBegin)) + "..." +
           strOut.substr(Boundary(strOut, strOut.size() - kLegibleEnd));
}

}  // namespace qrx::server
