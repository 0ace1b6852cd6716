// Conversion with iconv(3). GBK has characters of one or two bytes, so a field is filled character
// by character and never holds half of one.
#include "text/encoding.h"

#include <iconv.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace qrx::server {
namespace {

class Converter {
public:
    Converter(const std::string& strTo, const std::string& strFrom)
        : m_handle(iconv_open(strTo.c_str(), strFrom.c_str())) {
        if (m_handle == reinterpret_cast<iconv_t>(-1)) {
            throw std::invalid_argument("unknown text encoding " + strFrom);
        }
    }
    ~Converter() { iconv_close(m_handle); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool Convert(std::string_view strText, std::string& strOut) {
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        std::string strInput(strText);
        char* pIn = strInput.data();
        size_t nIn = strInput.size();
        while (nIn > 0) {
            char buffer[256];
            char* pOut = buffer;
            size_t nOut = sizeof buffer;
            const size_t n = iconv(m_handle, &pIn, &nIn, &pOut, &nOut);
            strOut.append(buffer, sizeof buffer - nOut);
            if (n == static_cast<size_t>(-1) && errno != E2BIG) return false;
        }
        return true;
    }

private:
    iconv_t m_handle;
};

// Length of the UTF-8 character at the front; a broken byte counts as one.
size_t CharacterBytes(std::string_view strText) {
    const auto c = static_cast<unsigned char>(strText[0]);
    const size_t n = c >= 0xF0 ? 4U : c >= 0xE0 ? 3U : c >= 0xC0 ? 2U : 1U;
    return n <= strText.size() ? n : 1U;
}

}  // namespace

std::optional<std::string> ToUtf8(std::string_view strText, const std::string& strEncoding) {
    std::string strOut;
    if (!Converter("UTF-8", strEncoding).Convert(strText, strOut)) return std::nullopt;
    return strOut;
}

void FillGbkField(char* pField, size_t nWidth, std::string_view strUtf8) {
    memset(pField, 0, nWidth);
    thread_local Converter converter("GBK", "UTF-8");
    size_t nUsed = 0;
    while (!strUtf8.empty()) {
        const size_t nBytes = CharacterBytes(strUtf8);
        std::string strCharacter;
        if (!converter.Convert(strUtf8.substr(0, nBytes), strCharacter))
            strCharacter.assign(1, '?');
        if (nUsed + strCharacter.size() > nWidth) return;
        memcpy(pField + nUsed, strCharacter.data(), strCharacter.size());
        nUsed += strCharacter.size();
        strUtf8.remove_prefix(nBytes);
    }
}

}  // namespace qrx::server
