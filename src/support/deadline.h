// A point on the monotonic clock until which an operation may take.
#ifndef QRX_SUPPORT_DEADLINE_H
#define QRX_SUPPORT_DEADLINE_H

#include <time.h>

#include <algorithm>
#include <climits>
#include <cstdint>

namespace qrx {

class Deadline {
public:
    explicit Deadline(int64_t nMs) {
        const int64_t nNow = NowMs();
        m_nEnd = nMs > INT64_MAX - nNow ? INT64_MAX : nNow + nMs;
    }
    static int64_t NowMs() {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    }
    bool Passed() const { return NowMs() >= m_nEnd; }

    // Milliseconds left, in the form that poll wants.
    int Left() const { return static_cast<int>(std::clamp<int64_t>(m_nEnd - NowMs(), 0, INT_MAX)); }

private:
    int64_t m_nEnd;
};

}  // namespace qrx

#endif
