// What the doctor says: one line a step with a tick or a cross, in ASCII where the terminal shows
// no more, and below a cross what to do about it.
#ifndef QRX_CLI_DOCTOR_REPORT_H
#define QRX_CLI_DOCTOR_REPORT_H

#include <string>

#include "app/failure.h"
#include "output/sink.h"

namespace qrx::cli {

// What a step that failed says; the code becomes the exit code.
struct Cross {
    const char* szStep;
    ExitCode nCode;
    std::string strText;
    std::string strCure;  // "" when the text says it
};

// The lines, each as soon as it is known.
class Report {
public:
    explicit Report(const std::string& strOutput);
    void Good(const char* szStep, const std::string& strText);
    void Bad(const Cross& cross);
    void Finish() { m_sink.Finish(); }

private:
    void Line(std::string strMark, std::string strStep, const std::string& strText);

    Sink m_sink;
    const bool m_bUnicode;
};

}  // namespace qrx::cli

#endif
