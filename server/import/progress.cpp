// Drawing of the progress line.
#include "import/progress.h"

#include <algorithm>
#include <cstdio>

namespace qrx::server {

void ProgressBar::Show(double fDone, int64_t nRows) {
    const auto now = std::chrono::steady_clock::now();
    if (!m_bShow || now - m_last < std::chrono::milliseconds(100)) return;
    m_last = now;
    m_bDrawn = true;
    constexpr int kWidth = 30;
    const int nFull = static_cast<int>(std::clamp(fDone, 0.0, 1.0) * kWidth);
    fprintf(stderr, "\r\033[K%s [%s%s] %3.0f %%  %lld rows", m_strLabel.c_str(),
            std::string(static_cast<size_t>(nFull), '#').c_str(),
            std::string(static_cast<size_t>(kWidth - nFull), '.').c_str(), fDone * 100,
            static_cast<long long>(nRows));
}

ProgressBar::~ProgressBar() {
    if (m_bDrawn) fprintf(stderr, "\r\033[K");
}

}  // namespace qrx::server
