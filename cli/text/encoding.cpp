// See the header.
#include "text/encoding.h"

#include <locale.h>
#include <cwchar>

#include <cerrno>

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

size_t DisplayWidth(std::string_view text) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr) return text.size();
    const locale_t former = uselocale(utf8);
    size_t nWidth = 0;
    mbstate_t state{};
    for (size_t i = 0; i < text.size();) {
        wchar_t ch = 0;
        const size_t nBytes = mbrtowc(&ch, text.data() + i, text.size() - i, &state);
        if (nBytes == 0 || nBytes > text.size() - i) {  // no character: one column a byte
            state = mbstate_t{};
            ++nWidth;
            ++i;
            continue;
        }
        const int nColumns = wcwidth(ch);
        nWidth += nColumns > 0 ? static_cast<size_t>(nColumns) : 0;
        i += nBytes;
    }
    uselocale(former);
    return nWidth;
}

}  // namespace qrx::cli
