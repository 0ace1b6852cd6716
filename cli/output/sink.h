// Where the bytes go: the standard output, or a file that is written beside its place and put
// there when it is complete. A reader that closes the pipe ends the command well.
#ifndef QRX_CLI_OUTPUT_SINK_H
#define QRX_CLI_OUTPUT_SINK_H

#include <optional>
#include <string>

#include "output/file_beside.h"

namespace qrx::cli {

class Sink {
public:
    explicit Sink(const std::string& strPath);  // "" or "-": the standard output
    ~Sink();                                    // without Finish: removes what was written
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    // Throws Failure(EXIT_OUTPUT) or ReaderGone.
    void Write(const std::string& strBytes);
    void Flush();
    void Finish();
    bool Terminal() const;

private:
    void Open();
    void WriteOut();

    std::string m_strPath;             // where the bytes shall stand
    std::optional<FileBeside> m_file;  // nothing when they are written in place
    std::string m_strBuffer;
    int m_fd = -1;
};

}  // namespace qrx::cli

#endif
