// See the header.
#include "output/sink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
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
    const bool bExists = stat(m_strPath.c_str(), &status) == 0;
    if (bExists && !S_ISREG(status.st_mode)) {  // a device or a named pipe
        m_fd = open(m_strPath.c_str(), O_WRONLY | O_CLOEXEC);
        if (m_fd < 0) Fail("cannot open");
        return;
    }
    std::string strTemplate = m_strPath + ".part-XXXXXX";
    m_fd = mkostemp(strTemplate.data(), O_CLOEXEC);
    if (m_fd < 0) Fail("cannot create");
    m_strUnfinished = strTemplate;
    interrupt::SetUnfinishedFile(m_strUnfinished);
    const mode_t nMask = umask(0);
    umask(nMask);
    constexpr mode_t kNewFile = 0666;
    constexpr mode_t kPermissions = 07777;
    if (fchmod(m_fd, bExists ? status.st_mode & kPermissions : kNewFile & ~nMask) != 0) {
        Fail("cannot create");
    }
}

Sink::~Sink() {
    if (m_fd >= 0 && m_fd != STDOUT_FILENO) close(m_fd);
    if (!m_strUnfinished.empty()) unlink(m_strUnfinished.c_str());
    interrupt::SetUnfinishedFile("");
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
            Fail("cannot write");
        }
    }
    m_strBuffer.clear();
}

void Sink::Finish() {
    WriteOut();
    if (m_fd == STDOUT_FILENO) return;
    if (close(std::exchange(m_fd, -1)) != 0) Fail("cannot write");
    if (m_strUnfinished.empty()) return;
    interrupt::Check();
    if (rename(m_strUnfinished.c_str(), m_strPath.c_str()) != 0) Fail("cannot put into place");
    m_strUnfinished.clear();
}

bool Sink::Terminal() const {
    return isatty(m_fd) == 1;
}

void Sink::Fail(const char* szWhat) const {
    const std::string strReason = strerror(errno);
    const std::string strName = m_strPath.empty() ? "the standard output" : m_strPath;
    throw Failure(EXIT_OUTPUT, std::string(szWhat) + " " + strName + ": " + strReason);
}

}  // namespace qrx::cli
