// Drawing of the progress line.
#include "import/progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qrx::server {

bool ProgressBar::IsDue() {
    const auto now = std::chrono::steady_clock::now();
    if (!m_bShow || now - m_last < std::chrono::milliseconds(100)) return false;
    m_last = now;
    m_bDrawn = true;
    return true;
}

void ProgressBar::Show(double fDone, int64_t nRows) {
    if (!IsDue()) return;
    constexpr int kWidth = 30;
    const int nFull = static_cast<int>(std::clamp(fDone, 0.0, 1.0) * kWidth);
    fprintf(stderr, "\r\033[K%s [%s%s] %3.0f %%  %lld rows", m_strLabel.c_str(),
            std::string(static_cast<size_t>(nFull), '#').c_str(),
            std::string(static_cast<size_t>(kWidth - nFull), '.').c_str(), fDone * 100,
            static_cast<long long>(nRows));
}

void ProgressBar::Writing(size_t nSecurity, size_t nAll) {
    const bool bFirst = !std::exchange(m_bWriting, true);
    if (!(bFirst && m_bDrawn) && !IsDue()) return;
    fprintf(stderr, "\r\033[K%s: writing security %zu of %zu", m_strLabel.c_str(), nSecurity, nAll);
}

ProgressBar::~ProgressBar() {
    if (m_bDrawn) fprintf(stderr, "\r\033[K");
}

}  // namespace qrx::server
