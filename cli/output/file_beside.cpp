// See the header.
#include "output/file_beside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {

void FailOutput(const char* szWhat, const std::string& strName) {
    const std::string strReason = strerror(errno);
    throw Failure(EXIT_OUTPUT, std::string(szWhat) + " " + strName + ": " + strReason);
}

FileBeside::FileBeside(const std::string& strPath) : m_strPath(strPath) {
    std::string strTemplate = strPath + ".part-XXXXXX";
    m_fd = mkostemp(strTemplate.data(), O_CLOEXEC);
    if (m_fd < 0) Fail("cannot create");
    m_strUnfinished = strTemplate;
    interrupt::SetUnfinishedFile(m_strUnfinished);
    const mode_t nMask = umask(0);
    umask(nMask);
    constexpr mode_t kNewFile = 0666;
    constexpr mode_t kPermissions = 07777;
    struct stat status;
    const bool bExists = stat(strPath.c_str(), &status) == 0;
    if (fchmod(m_fd, bExists ? status.st_mode & kPermissions : kNewFile & ~nMask) != 0) {
        unlink(m_strUnfinished.c_str());
        Fail("cannot create");
    }
}

FileBeside::~FileBeside() {
    if (m_fd >= 0) close(m_fd);
    if (!m_strUnfinished.empty()) unlink(m_strUnfinished.c_str());
    interrupt::SetUnfinishedFile("");
}

void FileBeside::Write(const std::string& strBytes) {
    for (size_t nDone = 0; nDone < strBytes.size();) {
        const ssize_t n = write(m_fd, strBytes.data() + nDone, strBytes.size() - nDone);
        if (n < 0 && errno != EINTR) Fail("cannot write");
        if (n > 0) nDone += static_cast<size_t>(n);
    }
}

void FileBeside::Place(bool bNew, bool bToDisk) {
    if (bToDisk && fsync(m_fd) != 0) Fail("cannot write");
    if (close(std::exchange(m_fd, -1)) != 0) Fail("cannot write");
    const char* const szFrom = m_strUnfinished.c_str();
    // A second name never takes another file's place; where files have one name only, rename does.
    if (bNew && link(szFrom, m_strPath.c_str()) == 0) {
        unlink(szFrom);
    } else if ((bNew && errno == EEXIST) || rename(szFrom, m_strPath.c_str()) != 0) {
        Fail("cannot put into place");
    }
    m_strUnfinished.clear();
}

void FileBeside::Fail(const char* szWhat) const {
    FailOutput(szWhat, m_strPath);
}

}  // namespace qrx::cli
