// See the header.
#include "output/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace qrx::cli {
namespace {

constexpr auto kSilence = std::chrono::seconds(2);
constexpr auto kInterval = std::chrono::milliseconds(250);

void Put(const std::string& strText) {
    if (write(STDERR_FILENO, strText.data(), strText.size()) < 0) return;
}

size_t TerminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

std::string Clock(double dSeconds) {
    const auto nSeconds = static_cast<long>(dSeconds + 0.5);
    char szText[32];
    snprintf(szText, sizeof szText, "%ld:%02ld", nSeconds / 60, nSeconds % 60);
    return szText;
}

}  // namespace

Progress::Progress(int nPieces, const char* szPieces) : m_nPieces(nPieces), m_szPieces(szPieces) {
    if (isatty(STDERR_FILENO) != 1) return;
    m_thread = std::thread([this] {
        std::unique_lock<std::mutex> guard(m_mutex);
        m_wake.wait_for(guard, kSilence, [this] { return m_bEnd; });
        while (!m_bEnd) {
            Draw();
            m_wake.wait_for(guard, kInterval, [this] { return m_bEnd; });
        }
    });
}

Progress::~Progress() {
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_bEnd = true;
        Hide();
    }
    m_wake.notify_all();
    if (m_thread.joinable()) m_thread.join();
}

void Progress::Done(int64_t nRowsSoFar) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    ++m_nDone;
    m_nRows = nRowsSoFar;
}

std::unique_lock<std::mutex> Progress::Pause() {
    std::unique_lock<std::mutex> guard(m_mutex);
    Hide();
    return guard;
}

std::string Progress::Line() const {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - m_begin;
    char szText[160];
    snprintf(szText, sizeof szText, "%d of %d %s, %lld rows, %.0f rows/s", m_nDone, m_nPieces,
             m_szPieces, static_cast<long long>(m_nRows),
             static_cast<double>(m_nRows) / passed.count());
    std::string strLine = szText;
    if (m_nDone > 0) {
        strLine += ", " + Clock(passed.count() / m_nDone * (m_nPieces - m_nDone)) + " left";
    } else {
        strLine += ", " + Clock(passed.count()) + " passed";
    }
    return strLine.substr(0, TerminalColumns() - 1);
}

void Progress::Draw() {
    Put("\r" + Line() + "\033[K");
    m_bShown = true;
}

void Progress::Hide() {
    if (m_bShown) Put("\r\033[K");
    m_bShown = false;
}

}  // namespace qrx::cli
