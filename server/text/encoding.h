// Text encodings: UTF-8 inside, GBK in the fixed-width fields of the wire, anything iconv(3) knows
// in the files that are imported.
#ifndef QRX_SERVER_TEXT_ENCODING_H
#define QRX_SERVER_TEXT_ENCODING_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qrx::server {

// The whole text converted; nothing when a byte of it is not of that encoding. Throws
// std::invalid_argument when the encoding is not known.
std::optional<std::string> ToUtf8(std::string_view strText, const std::string& strEncoding);

// Fills a field of the wire: UTF-8 to GBK, cut at a character, the rest zeroed. What GBK lacks
// becomes '?'. A text as long as the field has no NUL.
void FillGbkField(char* pField, size_t nWidth, std::string_view strUtf8);

template <size_t N>
void FillGbkField(char (&field)[N], std::string_view strUtf8) {
    FillGbkField(field, N, strUtf8);
}

}  // namespace qrx::server

#endif
