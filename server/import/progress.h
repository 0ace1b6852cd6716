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
    void Show(double fDone, int64_t nRows);  // draws ten times a second, however often it is called

private:
    std::string m_strLabel;
    bool m_bShow;
    bool m_bDrawn = false;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

}  // namespace qrx::server

#endif
