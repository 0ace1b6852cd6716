// The clock and the write behind a log line.
#include "serve/log.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace qrx::server {

void Log(const std::string& strText) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm t{};
    gmtime_r(&now.tv_sec, &t);
    char stamp[40];
    const size_t n = strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &t);
    char fraction[16];
    snprintf(fraction, sizeof fraction, ".%03dZ ", static_cast<int>(now.tv_nsec / 1000000));
    const std::string strLine = std::string(stamp, n) + fraction + strText + "\n";
    // A log that cannot be written is nothing to fail for.
    if (write(STDERR_FILENO, strLine.data(), strLine.size()) < 0) return;
}

}  // namespace qrx::server
