// Log lines on standard error: time in UTC, text. A line is one write, so lines of several threads
// stay whole. Text from a peer passes through Printable first.
#ifndef QRX_SERVER_SERVE_LOG_H
#define QRX_SERVER_SERVE_LOG_H

#include <string>
#include <string_view>

namespace qrx::server {

void Log(const std::string& strText);

// Control characters and bytes beyond ASCII as \xNN, so that nobody writes lines of his own.
std::string Printable(std::string_view strText);

}  // namespace qrx::server

#endif
