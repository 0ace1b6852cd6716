// See the header.
#include "text/encoding.h"

#include <locale.h>

#include <cerrno>
#include <climits>
#include <cwchar>
#include <cwctype>

#include "app/failure.h"

namespace qrx::cli {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string Convert(iconv_t converter, std::string_view text, std::string_view replacement) {
    std::string strOut;
    std::string strIn(text);
    char* pIn = strIn.data();
    size_t nIn = strIn.size();
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    while (nIn > 0) {
        char buffer[512];
        char* pOut = buffer;
        size_t nOut = sizeof buffer;
        const size_t nResult = iconv(converter, &pIn, &nIn, &pOut, &nOut);
        strOut.append(buffer, sizeof buffer - nOut);
        if (nResult != static_cast<size_t>(-1) || errno == E2BIG) continue;
        strOut += replacement;
        if (errno == EINVAL) break;  // the text ends inside a character
        ++pIn;
        --nIn;
    }
    return strOut;
}

}  // namespace

Decoder::Decoder(const std::string& strEncoding)
    : m_toUtf8(iconv_open("UTF-8", strEncoding.c_str())),
      m_fromUtf8(iconv_open(strEncoding.c_str(), "UTF-8")) {
    const iconv_t none = reinterpret_cast<iconv_t>(-1);
    if (m_toUtf8 == none || m_fromUtf8 == none) {
        if (m_toUtf8 != none) iconv_close(m_toUtf8);
        RefuseUsage("--encoding: \"" + strEncoding +
                    "\" is no encoding that this system knows, such as gb18030 or utf-8");
    }
}

Decoder::~Decoder() {
    iconv_close(m_toUtf8);
    iconv_close(m_fromUtf8);
}

std::string Decoder::ToUtf8(std::string_view text) const {
    const std::string strText = Convert(m_toUtf8, text, kReplacement);
    std::string strClean;
    for (size_t i = 0; i < strText.size(); ++i) {
        const auto ch = static_cast<unsigned char>(strText[i]);
        const bool bLow = ch < 0x20 || ch == 0x7F;
        // U+0080 to U+009F, which terminals take for commands too.
        const bool bHigh = ch == 0xC2 && i + 1 < strText.size() &&
                           static_cast<unsigned char>(strText[i + 1]) < 0xA0;
        if (!bLow && !bHigh) {
            strClean += strText[i];
            continue;
        }
        const bool bBlank = ch == '\n' || ch == '\r' || ch == '\t';
        strClean += bBlank ? " " : kReplacement;
        if (bHigh) ++i;
    }
    return strClean;
}

std::string Decoder::FromUtf8(std::string_view text) const {
    return Convert(m_fromUtf8, text, "?");
}

namespace {

// Hands each character to the visitor with the bytes it takes; a byte that is no character comes as
// nothing (0) and one byte.
template <class Visitor>
void ForEachCharacter(std::string_view text, Visitor visit) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t former = utf8 != nullptr ? uselocale(utf8) : nullptr;
    mbstate_t state{};
    for (size_t i = 0; i < text.size();) {
        wchar_t ch = 0;
        size_t nBytes = mbrtowc(&ch, text.data() + i, text.size() - i, &state);
        if (nBytes == 0 || nBytes > text.size() - i) {
            state = mbstate_t{};
            ch = 0;
            nBytes = 1;
        }
        visit(ch, text.substr(i, nBytes));
        i += nBytes;
    }
    if (former != nullptr) uselocale(former);
}

}  // namespace

std::string FoldCase(std::string_view text) {
    constexpr wchar_t kFullWidthFirst = 0xFF01;
    constexpr wchar_t kFullWidthLast = 0xFF5E;
    constexpr wchar_t kWideBlank = 0x3000;
    std::string strOut;
    ForEachCharacter(text, [&](wchar_t ch, std::string_view bytes) {
        if (ch >= kFullWidthFirst && ch <= kFullWidthLast) ch -= kFullWidthFirst - L'!';
        if (ch == L' ' || ch == kWideBlank) return;
        ch = static_cast<wchar_t>(towlower(static_cast<wint_t>(ch)));
        char out[MB_LEN_MAX];
        mbstate_t state{};
        const size_t nBytes = ch != 0 ? wcrtomb(out, ch, &state) : static_cast<size_t>(-1);
        strOut += nBytes <= sizeof out ? std::string_view(out, nBytes) : bytes;
    });
    return strOut;
}

size_t DisplayWidth(std::string_view text) {
    size_t nWidth = 0;
    ForEachCharacter(text, [&](wchar_t ch, std::string_view) {
        const int nColumns = ch != 0 ? wcwidth(ch) : 1;  // no character: one column a byte
        nWidth += nColumns > 0 ? static_cast<size_t>(nColumns) : 0;
    });
    return nWidth;
}

}  // namespace qrx::cli
