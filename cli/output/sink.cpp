// See the header.
#include "output/sink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <utility>

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {

namespace {
constexpr size_t kBufferBytes = 1 << 16;
}

Sink::Sink(const std::string& strPath) : m_strPath(strPath == "-" ? "" : strPath) {
    if (m_strPath.empty()) {
        m_fd = STDOUT_FILENO;
    } else {
        Open();
    }
}

void Sink::Open() {
    // A link stays a link: what it points to is replaced.
    char szReal[PATH_MAX];
    if (realpath(m_strPath.c_str(), szReal) != nullptr) m_strPath = szReal;
    struct stat status;
    if (stat(m_strPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        m_fd = open(m_strPath.c_str(), O_WRONLY | O_CLOEXEC);  // a device or a named pipe
        if (m_fd < 0) FailOutput("cannot open", m_strPath);
        return;
    }
    m_file.emplace(m_strPath);
    m_fd = m_file->Descriptor();
}

Sink::~Sink() {
    if (!m_file && m_fd >= 0 && m_fd != STDOUT_FILENO) close(m_fd);
}

void Sink::Write(const std::string& strBytes) {
    m_strBuffer += strBytes;
    if (m_strBuffer.size() >= kBufferBytes) WriteOut();
}

void Sink::Flush() {
    WriteOut();
}

void Sink::WriteOut() {
    for (size_t nDone = 0; nDone < m_strBuffer.size();) {
        interrupt::Check();
        const ssize_t n = write(m_fd, m_strBuffer.data() + nDone, m_strBuffer.size() - nDone);
        if (n >= 0) {
            nDone += static_cast<size_t>(n);
        } else if (errno == EPIPE) {
            throw ReaderGone();
        } else if (errno == EAGAIN) {
            pollfd wait = {m_fd, POLLOUT, 0};
            poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            FailOutput("cannot write", m_strPath.empty() ? "the standard output" : m_strPath);
        }
    }
    m_strBuffer.clear();
}

void Sink::Finish() {
    WriteOut();
    if (m_fd == STDOUT_FILENO) return;
    interrupt::Check();
    if (m_file) return m_file->Place();
    if (close(std::exchange(m_fd, -1)) != 0) FailOutput("cannot write", m_strPath);
}

bool Sink::Terminal() const {
    return isatty(m_fd) == 1;
}

}  // namespace qrx::cli
