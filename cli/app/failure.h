// How a command ends: the exit codes, and the exception that carries one together with the one
// sentence that the user reads.
#ifndef QRX_CLI_APP_FAILURE_H
#define QRX_CLI_APP_FAILURE_H

#include <string>
#include <utility>

namespace qrx::cli {

enum ExitCode : int {
    EXIT_OK = 0,
    EXIT_OTHER = 1,
    EXIT_USAGE = 2,
    EXIT_NO_DATA = 3,
    EXIT_UNKNOWN_CODE = 4,
    EXIT_LOGIN = 5,
    EXIT_NETWORK = 6,
    EXIT_TIME_OUT = 7,
    EXIT_WRONG_TYPE = 8,
    EXIT_OUTPUT = 9,
    EXIT_FORMULA = 10,
    EXIT_MEMORY = 11,
    EXIT_COMPLETION = 12,
    EXIT_INTERRUPTED = 130
};

struct ExitRow {
    ExitCode nCode;
    const char* szMeaning;
};

inline constexpr ExitRow kExitRows[] = {
    {EXIT_OK, "done"},
    {EXIT_OTHER, "something unforeseen"},
    {EXIT_USAGE, "an argument or a setting is wrong"},
    {EXIT_NO_DATA, "the server has no such data"},
    {EXIT_UNKNOWN_CODE, "the security or market is unknown"},
    {EXIT_LOGIN, "the login was refused"},
    {EXIT_NETWORK, "no connection to the server, or it was lost"},
    {EXIT_TIME_OUT, "the server did not answer in time"},
    {EXIT_WRONG_TYPE, "this kind of security has no such data"},
    {EXIT_OUTPUT, "the output could not be written"},
    {EXIT_FORMULA, "the formula was refused"},
    {EXIT_MEMORY, "the result does not fit into memory"},
    {EXIT_COMPLETION, "the bars or snapshots cannot be completed"},
    {EXIT_INTERRUPTED, "interrupted: Ctrl-C, SIGTERM or SIGHUP"}};

class Failure {
public:
    Failure(ExitCode nCode, std::string strSentence)
        : m_nCode(nCode), m_strSentence(std::move(strSentence)) {}
    ExitCode Code() const { return m_nCode; }
    const std::string& Sentence() const { return m_strSentence; }

private:
    ExitCode m_nCode;
    std::string m_strSentence;
};

// A wrong argument or setting.
[[noreturn]] inline void RefuseUsage(std::string strSentence) {
    throw Failure(EXIT_USAGE, std::move(strSentence));
}

// The reader of the standard output has gone: the end of the command, and no failure.
struct ReaderGone {};

}  // namespace qrx::cli

#endif
