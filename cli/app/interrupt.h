// Ctrl-C. One thread takes SIGINT, SIGTERM and SIGHUP; every other thread has them blocked. It
// closes the open session, so that a running call returns, and gives the command half a second to
// clean up; after that, or when no session is open, it removes the unfinished file, restores the
// terminal and ends the process. The exit code is EXIT_INTERRUPTED whichever signal it was and
// however far the command had come.
#ifndef QRX_CLI_APP_INTERRUPT_H
#define QRX_CLI_APP_INTERRUPT_H

#include <termios.h>

#include <functional>
#include <optional>
#include <string>

namespace qrx::cli::interrupt {

// Before any other thread is started.
void Start();

bool Requested();

// Throws Failure(EXIT_INTERRUPTED) once an interrupt was requested.
void Check();

// What ends the call that may be running; empty: nothing can be ended.
void OnStop(std::function<void()> stop);

// The file to remove, empty for none; the terminal state to restore, nothing for none.
void SetUnfinishedFile(const std::string& strPath);
void SetTerminal(int fd, const std::optional<termios>& state);

}  // namespace qrx::cli::interrupt

#endif
