// Text from files and peers as it may stand in a log or on a terminal.
#ifndef QRX_SERVER_TEXT_PRINTABLE_H
#define QRX_SERVER_TEXT_PRINTABLE_H

#include <string>
#include <string_view>

namespace qrx::server {

// Control characters and bytes beyond ASCII as \xNN, so that nobody writes lines of his own.
std::string Printable(std::string_view strText);

// The same where text in UTF-8 stays as it is, and of a long one its beginning and end.
std::string Legible(std::string_view strText);

}  // namespace qrx::server

#endif
