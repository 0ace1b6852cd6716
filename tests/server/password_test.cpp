// The password that qrx-server asks for at a terminal: without echo, twice, and with the echo back
// after an interrupt.
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "server/test_store.h"

namespace qrx::test {
namespace {

bool Echoes(int fd) {
    termios state{};
    return tcgetattr(fd, &state) == 0 && (state.c_lflag & ECHO) != 0;
}

TEST(Password, IsAskedForWithoutEcho) {
    const TestStore store;
    const struct {
        const char *szTyped, *szUsers;
        int nExit;
    } kCases[] = {
        {"one\ntwo\n", "", 1}, {"\n\n", "", 1}, {"\x03", "", 1}, {"one\none\n", "bob\tSH\n", 0}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szTyped);
        int fd = -1;
        const pid_t nPid = forkpty(&fd, nullptr, nullptr, nullptr);
        if (nPid == 0) {
            execl(QRX_BUILD_DIR "/qrx-server", "qrx-server", "user", "add", "bob", "--markets",
                  "SH", "--db", store.m_strDb.c_str(), nullptr);
            _exit(127);
        }
        for (int i = 0; i < 500 && Echoes(fd); ++i) usleep(10000);
        EXPECT_FALSE(Echoes(fd));
        EXPECT_GT(write(fd, c.szTyped, strlen(c.szTyped)), 0);
        int nStatus = 0;
        waitpid(nPid, &nStatus, 0);
        EXPECT_TRUE(WIFEXITED(nStatus));
        EXPECT_EQ(WEXITSTATUS(nStatus), c.nExit);
        EXPECT_TRUE(Echoes(fd));
        char shown[1000];
        const ssize_t n = read(fd, shown, sizeof shown);
        EXPECT_EQ(std::string(shown, n > 0 ? static_cast<size_t>(n) : 0).find("one"),
                  std::string::npos);
        close(fd);
        EXPECT_EQ(store.Command({"user", "list"}).strOutput, c.szUsers);
    }
}

}  // namespace
}  // namespace qrx::test
