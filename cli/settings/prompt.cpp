// The password prompt on the controlling terminal.
#include <fcntl.h>
#include <unistd.h>

#include "app/failure.h"
#include "app/interrupt.h"
#include "settings/settings.h"

namespace qrx::cli {

std::string AskPassword(const std::string& strUser) {
    const int fd = open("/dev/tty", O_RDWR | O_CLOEXEC);
    termios former;
    if (fd < 0 || tcgetattr(fd, &former) != 0) {
        if (fd >= 0) close(fd);
        RefuseUsage(
            "no password and no terminal to ask on; use --password-file FILE, QRX_PASSWORD "
            "or the line \"password = ...\" in the settings file");
    }
    interrupt::SetTerminal(fd, former);
    termios silent = former;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(fd, TCSAFLUSH, &silent);
    const std::string strPrompt = "Password of " + strUser + ": ";
    std::string strPassword;
    char ch = 0;
    bool bRead = write(fd, strPrompt.data(), strPrompt.size()) > 0;
    while (bRead && (bRead = read(fd, &ch, 1) == 1) && ch != '\n') strPassword += ch;
    tcsetattr(fd, TCSAFLUSH, &former);
    interrupt::SetTerminal(-1, std::nullopt);
    const bool bEnded = write(fd, "\n", 1) == 1;
    close(fd);
    if (!bRead || !bEnded) RefuseUsage("no password was given");
    return strPassword;
}

}  // namespace qrx::cli
