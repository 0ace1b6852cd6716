// Log lines on standard error: time in UTC, text. A line is one write, so lines of several threads
// stay whole. Text from a peer passes through Printable first.
#ifndef QRX_SERVER_SERVE_LOG_H
#define QRX_SERVER_SERVE_LOG_H

#include <string>

namespace qrx::server {

void Log(const std::string& strText);

}  // namespace qrx::server

#endif
