// Hashes with the strongest scheme that this system's crypt(3) offers.
#include "users/password.h"

#include <crypt.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace qrx::server {
namespace {

// crypt_data is some 32 KB: too much for a stack.
std::string Crypt(const std::string& strPassword, const std::string& strSetting) {
    const auto pData = std::make_unique<crypt_data>();
    const char* sz = crypt_r(strPassword.c_str(), strSetting.c_str(), pData.get());
    return sz == nullptr || sz[0] == '*' ? std::string() : std::string(sz);
}

std::string NewSetting() {
    for (const char* szPrefix : {"$y$", "$6$"}) {
        char setting[CRYPT_GENSALT_OUTPUT_SIZE];
        if (crypt_gensalt_rn(szPrefix, 0, nullptr, 0, setting, sizeof setting) != nullptr) {
            return setting;
        }
    }
    throw std::runtime_error("this system's crypt offers neither yescrypt nor SHA-512");
}

// Signals that end the process are held back while the echo is off and looked at only where a line
// is waited for, so that none is missed and the echo comes back first.
class Terminal {
public:
    Terminal() : m_nFd(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (m_nFd < 0 || tcgetattr(m_nFd, &m_before) != 0) {
            throw std::runtime_error("no terminal to ask for a password; use --password-file");
        }
        struct sigaction interrupt {};
        interrupt.sa_handler = [](int) {};
        sigset_t held;
        sigemptyset(&held);
        for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaction(nSignal, &interrupt, nullptr);
            sigaddset(&held, nSignal);
        }
        sigprocmask(SIG_BLOCK, &held, &m_maskBefore);
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(m_nFd, TCSAFLUSH, &silent);
    }
    ~Terminal() {
        tcsetattr(m_nFd, TCSAFLUSH, &m_before);
        sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
        close(m_nFd);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Write(const std::string& strText) {
        if (write(m_nFd, strText.data(), strText.size()) < 0) {
            throw std::runtime_error("cannot write to the terminal");
        }
    }
    std::string ReadLine() {
        std::string strLine;
        pollfd input{m_nFd, POLLIN, 0};
        bool bInterrupted = false;
        for (char c = 0; c != '\n';) {
            bInterrupted = ppoll(&input, 1, nullptr, &m_maskBefore) < 0;
            if (bInterrupted || read(m_nFd, &c, 1) != 1) break;
            if (c != '\n') strLine += c;
        }
        Write("\n");
        if (bInterrupted) throw std::runtime_error("interrupted");
        return strLine;
    }

private:
    int m_nFd;
    termios m_before{};
    sigset_t m_maskBefore{};
};

}  // namespace

std::string HashPassword(const std::string& strPassword) {
    const std::string strHash = Crypt(strPassword, NewSetting());
    if (strHash.empty()) throw std::runtime_error("the password could not be hashed");
    return strHash;
}

bool CheckPassword(const std::string& strPassword, const std::string& strHash) {
    static const std::string kNobody = HashPassword("nobody");
    const std::string& strSetting = strHash.empty() ? kNobody : strHash;
    const std::string strActual = Crypt(strPassword, strSetting);
    if (strActual.empty() || strActual.size() != strSetting.size()) return false;
    unsigned nDifference = 0;
    for (size_t i = 0; i < strActual.size(); ++i) {
        nDifference |= static_cast<unsigned char>(strActual[i] ^ strSetting[i]);
    }
    return nDifference == 0 && !strHash.empty();
}

std::string AskPassword(const std::string& strPrompt) {
    Terminal terminal;
    terminal.Write(strPrompt);
    const std::string strFirst = terminal.ReadLine();
    terminal.Write("Once more: ");
    if (terminal.ReadLine() != strFirst) throw std::runtime_error("the two passwords differ");
    return strFirst;
}

std::string ReadPasswordFile(const std::string& strPath) {
    std::ifstream file(strPath);
    std::string strLine;
    if (!file || !std::getline(file, strLine)) {
        throw std::runtime_error("cannot read a password from " + strPath);
    }
    if (!strLine.empty() && strLine.back() == '\r') strLine.pop_back();
    return strLine;
}

}  // namespace qrx::server
