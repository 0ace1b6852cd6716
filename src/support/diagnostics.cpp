// ErrPrint: two buffers, the second one becoming the format of the print itself.
#include "support/diagnostics.h"

#include <stdarg.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>

#include "support/date_time.h"

void ErrPrint(const char* fmt, ...) {
    constexpr size_t kSize = 65535;
    const std::unique_ptr<char[]> pText(new (std::nothrow) char[kSize]);
    const std::unique_ptr<char[]> pLine(new (std::nothrow) char[kSize]);
    if (!pText || !pLine) return;
    va_list args;
    va_start(args, fmt);
    vsnprintf(pText.get(), kSize, fmt, args);
    va_end(args);
    const DateTimeInfo now;
    snprintf(pLine.get(), kSize, "TID:%04ld, Time: %02d:%02d-%02d-%03d: %s", syscall(SYS_gettid),
             now.nHour, now.nMinute, now.nSecond, now.nMillisecond, pText.get());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    fprintf(stderr, pLine.get());  // the line is the format: part of the contract
#pragma GCC diagnostic pop
}
