// A person at a shell: an interactive shell on a terminal of its own, keys in, screen out.
#ifndef QRX_TESTS_CLI_SHELL_H
#define QRX_TESTS_CLI_SHELL_H

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace qrx::test {

class Shell {
public:
    explicit Shell(std::vector<std::string> vecWords) {
        winsize size{};
        size.ws_row = 50;
        size.ws_col = 200;
        m_nPid = forkpty(&m_fd, nullptr, nullptr, &size);
        if (m_nPid == 0) {
            std::vector<char*> vecArgv;
            for (std::string& strWord : vecWords) vecArgv.push_back(strWord.data());
            vecArgv.push_back(nullptr);
            setenv("TERM", "dumb", 1);
            setenv("LC_ALL", "C", 1);
            setenv("PS1", "> ", 1);
            execvp(vecArgv[0], vecArgv.data());
            _exit(127);
        }
    }
    ~Shell() {
        close(m_fd);
        kill(m_nPid, SIGKILL);
        waitpid(m_nPid, nullptr, 0);
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // What appears after the keys, once it holds the text; everything when it does not in time.
    std::string Type(const std::string& strKeys, const std::string& strAwaited) {
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

private:
    int m_fd = -1;
    pid_t m_nPid = -1;
};

}  // namespace qrx::test

#endif
