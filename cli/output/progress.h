// One line on the terminal that says how far a fetch is, from its third second on: how many of its
// pieces are done, rows, rate, time left. Nothing at all when the standard error is no terminal.
#ifndef QRX_CLI_OUTPUT_PROGRESS_H
#define QRX_CLI_OUTPUT_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace qrx::cli {

class Progress {
public:
    Progress(int nPieces, const char* szPieces);  // a plural: "days"
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Done(int64_t nRowsSoFar);
    // Takes the line away until the lock is released, so that rows may be written to a terminal.
    std::unique_lock<std::mutex> Pause();

private:
    void Draw();
    void Hide();
    std::string Line() const;

    const int m_nPieces;
    const char* const m_szPieces;
    const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
    std::mutex m_mutex;  // guards everything below, and the terminal
    std::condition_variable m_wake;
    int m_nDone = 0;
    int64_t m_nRows = 0;
    bool m_bShown = false;
    bool m_bEnd = false;
    std::thread m_thread;
};

}  // namespace qrx::cli

#endif
