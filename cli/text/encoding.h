// The server's texts as clean UTF-8, and the columns that a text takes on a terminal.
#ifndef QRX_CLI_TEXT_ENCODING_H
#define QRX_CLI_TEXT_ENCODING_H

#include <iconv.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace qrx::cli {

// From the server's encoding to UTF-8 and back. What cannot be converted, and control characters
// (a server's text must not steer the terminal), become a replacement character; line ends and
// tabs become blanks.
class Decoder {
public:
    explicit Decoder(const std::string& strEncoding);  // throws Failure(EXIT_USAGE)
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    std::string ToUtf8(std::string_view text) const;
    std::string FromUtf8(std::string_view text) const;

private:
    iconv_t m_toUtf8;
    iconv_t m_fromUtf8;
};

// A fixed-width field of a record, up to its NUL.
template <size_t nWidth>
std::string_view FieldView(const char (&field)[nWidth]) {
    const std::string_view whole(field, nWidth);
    return whole.substr(0, whole.find('\0'));
}

// For comparing UTF-8 texts as people read them: lower case, full-width letters and digits as plain
// ones, no blanks (names come padded with them).
std::string FoldCase(std::string_view text);

// Terminal columns of a UTF-8 text; wide characters take two.
size_t DisplayWidth(std::string_view text);

}  // namespace qrx::cli

#endif
