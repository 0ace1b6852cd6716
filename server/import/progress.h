// One line on a terminal that says how far a file is read; nothing where there is no terminal.
#ifndef QRX_SERVER_IMPORT_PROGRESS_H
#define QRX_SERVER_IMPORT_PROGRESS_H

#include <chrono>
#include <string>

namespace qrx::server {

class ProgressBar {
public:
    ProgressBar(std::string strLabel, bool bShow)
        : m_strLabel(std::move(strLabel)), m_bShow(bShow) {}
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    // Both draw ten times a second, however often they are called.
    void Show(double fDone, int64_t nRows);
    // Behind the file's end; the first takes the place of a bar at once.
    void Writing(size_t nSecurity, size_t nAll);

private:
    bool IsDue();

    std::string m_strLabel;
    bool m_bShow;
    bool m_bDrawn = false;
    bool m_bWriting = false;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

}  // namespace qrx::server

#endif
