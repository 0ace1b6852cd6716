// A file that is written beside its place and put there when it is complete; without that it is
// removed again, by the destructor or by an interrupt.
#ifndef QRX_CLI_OUTPUT_FILE_BESIDE_H
#define QRX_CLI_OUTPUT_FILE_BESIDE_H

#include <string>

namespace qrx::cli {

class FileBeside {
public:
    // Keeps the permissions of a file that already stands there. Throws Failure(EXIT_OUTPUT).
    explicit FileBeside(const std::string& strPath);
    ~FileBeside();
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    int Descriptor() const { return m_fd; }
    const std::string& UnfinishedPath() const { return m_strUnfinished; }

    // At once, whatever comes: also after an interrupt.
    void Write(const std::string& strBytes);
    // bNew: another file that has come to stand there meanwhile is left alone, and this one fails.
    // bToDisk: it outlives the machine's end too.
    void Place(bool bNew = false, bool bToDisk = false);

private:
    [[noreturn]] void Fail(const char* szWhat) const;

    const std::string m_strPath;
    std::string m_strUnfinished;
    int m_fd = -1;
};

// "cannot write FILE: reason", with the reason of errno.
[[noreturn]] void FailOutput(const char* szWhat, const std::string& strName);

}  // namespace qrx::cli

#endif
