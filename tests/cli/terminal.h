// A person at a terminal: a program on a terminal of its own, keys in, screen out.
#ifndef QRX_TESTS_CLI_TERMINAL_H
#define QRX_TESTS_CLI_TERMINAL_H

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "cli/run_cli.h"

namespace qrx::test {

class Terminal {
public:
    Terminal(const std::vector<std::string>& vecWords, const Cli& cli, int nColumns = 200) {
        const std::vector<char*> vecArgv = Pointers(vecWords);
        const std::vector<char*> vecEnvironment = Pointers(cli.Environment());
        winsize size{};
        size.ws_row = 50;
        size.ws_col = static_cast<unsigned short>(nColumns);
        m_nPid = forkpty(&m_fd, nullptr, nullptr, &size);
        if (m_nPid == 0) {
            execvpe(vecArgv[0], vecArgv.data(), vecEnvironment.data());
            _exit(127);
        }
    }
    ~Terminal() {
        close(m_fd);
        if (m_nPid <= 0) return;
        kill(m_nPid, SIGKILL);
        waitpid(m_nPid, nullptr, 0);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // What appears after the keys, once it holds the text; everything when it does not in time or
    // before the program ends.
    std::string Type(const std::string& strKeys, const std::string& strAwaited = kNever) {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::seconds(10);
        std::string strScreen;
        if (write(m_fd, strKeys.data(), strKeys.size()) < 0) return strScreen;
        pollfd wait = {m_fd, POLLIN, 0};
        while (strScreen.find(strAwaited) == std::string::npos && Clock::now() < end) {
            char bytes[4096];
            if (poll(&wait, 1, 100) != 1) continue;
            const ssize_t n = read(m_fd, bytes, sizeof bytes);
            if (n <= 0) break;
            strScreen.append(bytes, static_cast<size_t>(n));
        }
        return strScreen;
    }

    // What a program gives that has ended.
    int Wait() {
        int nStatus = -1;
        waitpid(std::exchange(m_nPid, -1), &nStatus, 0);
        return nStatus;
    }

private:
    static inline const std::string kNever{'\0'};
    int m_fd = -1;
    pid_t m_nPid = -1;
};

}  // namespace qrx::test

#endif
