// Opening through proxies: the real ones on loopback, each in a folder and on a port of its own,
// and scripted ones that misbehave.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "session/transport.h"
#include "support/deadline.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

namespace fs = std::filesystem;

int FreePort() {
    return ScriptedServer([](Peer&) {}).Port();
}

// A child process that is ended with the object.
class Process {
public:
    explicit Process(std::vector<std::string> args) {
        m_nPid = fork();
        if (m_nPid == 0) {
            std::vector<char*> argv;
            for (std::string& strArg : args) argv.push_back(strArg.data());
            argv.push_back(nullptr);
            if (freopen("/dev/null", "w", stdout) == nullptr ||
                freopen("/dev/null", "w", stderr) == nullptr)
                _exit(126);
            execvp(argv[0], argv.data());
            _exit(127);
        }
    }
    ~Process() {
        kill(m_nPid, SIGTERM);
        waitpid(m_nPid, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

private:
    pid_t m_nPid;
};

bool WaitForPort(int nPort) {
    SynNKNetWork net(1);
    for (int i = 0; i < 100; ++i) {
        if (net.Connect(inet_addr("127.0.0.1"), nPort) == 1) return true;
        usleep(50000);
    }
    return false;
}

std::string Find(const std::string& strName) {
    for (const std::string& strFolder : {std::string("/usr/bin/"), std::string("/usr/sbin/"),
                                         std::string(QRX_SOURCE_DIR) + "/build/tools/usr/sbin/"}) {
        if (access((strFolder + strName).c_str(), X_OK) == 0) return strFolder + strName;
    }
    return {};
}

class Folder {
public:
    Folder() {
        std::string strName = (fs::temp_directory_path() / "qrx-proxy-XXXXXX").string();
        m_path = mkdtemp(strName.data());
    }
    ~Folder() { fs::remove_all(m_path); }
    std::string operator/(const std::string& strName) const { return (m_path / strName).string(); }
    void Write(const std::string& strName, const std::string& strText) const {
        std::ofstream(m_path / strName) << strText;
    }

private:
    fs::path m_path;
};

std::string OpenThrough(QRX_PROXY_TYPE nType, int nProxyPort, int nServerPort,
                        const char* szUser = "", const char* szPwd = "", unsigned nTimeOut = 5) {
    QRX_PROXY_SETTING proxy{};
    proxy.nProxyType = nType;
    snprintf(proxy.szProxyHostIp, sizeof proxy.szProxyHostIp, "127.0.0.1");
    snprintf(proxy.szProxyPort, sizeof proxy.szProxyPort, "%d", nProxyPort);
    snprintf(proxy.szProxyUser, sizeof proxy.szProxyUser, "%s", szUser);
    snprintf(proxy.szProxyPwd, sizeof proxy.szProxyPwd, "%s", szPwd);
    const OPEN_SETTINGS settings = Settings(nServerPort, nTimeOut);
    QRXDefine_ResLogin login;
    void* h = QRX_OpenProxy(&settings, &proxy, &login);
    if (h != nullptr) EXPECT_EQ(QRX_Close(h), 0);
    return login.szInfo;
}

const std::string kOpened = "retrieve code table: success!";
const std::string kFailed = "connect: connect failed!";

ScriptedServer::Script Idle() {
    return Serving([](Peer&, const Message&) { return true; });
}

TEST(Proxy, Socks5WithAndWithoutUser) {
    const std::string strProxy = Find("microsocks");
    if (strProxy.empty()) GTEST_SKIP() << "microsocks is not installed";
    ScriptedServer server(Idle());
    const int nOpen = FreePort();
    const int nGuarded = FreePort();
    const Process open({strProxy, "-i", "127.0.0.1", "-p", std::to_string(nOpen)});
    const Process guarded(
        {strProxy, "-i", "127.0.0.1", "-p", std::to_string(nGuarded), "-u", "me", "-P", "pw"});
    ASSERT_TRUE(WaitForPort(nOpen) && WaitForPort(nGuarded));
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nOpen, server.Port()), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nOpen, server.Port(), "me", "pw"), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nGuarded, server.Port(), "me", "pw"), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nGuarded, server.Port(), "me", "wrong"), kFailed);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nGuarded, server.Port()), kFailed);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nOpen, FreePort()), kFailed);
    EXPECT_EQ(server.Connections(), 3);
}

TEST(Proxy, HttpConnectWithAndWithoutUser) {
    const std::string strProxy = Find("tinyproxy");
    if (strProxy.empty()) GTEST_SKIP() << "tinyproxy is not installed";
    ScriptedServer server(Idle());
    for (const bool bUser : {false, true}) {
        const Folder folder;
        const int nPort = FreePort();
        folder.Write("conf", "Port " + std::to_string(nPort) +
                                 "\nListen 127.0.0.1\nTimeout 60\nMaxClients 20\n" +
                                 (bUser ? "BasicAuth me pw\n" : ""));
        const Process proxy({strProxy, "-d", "-c", folder / "conf"});
        ASSERT_TRUE(WaitForPort(nPort));
        EXPECT_EQ(OpenThrough(QRX_PROXY_HTTP, nPort, server.Port(), "me", "pw"), kOpened);
        EXPECT_EQ(OpenThrough(QRX_PROXY_HTTP, nPort, server.Port()), bUser ? kFailed : kOpened);
        EXPECT_EQ(OpenThrough(QRX_PROXY_HTTP, nPort, FreePort(), "me", "pw"), kFailed);
    }
}

// OpenSSH's dynamic forwarding speaks SOCKS 4, 4A and 5.
TEST(Proxy, Socks4And4aThroughSsh) {
    const std::string strServer = Find("sshd");
    const std::string strClient = Find("ssh");
    if (strServer.empty() || strClient.empty()) GTEST_SKIP() << "OpenSSH is not there";
    const Folder folder;
    const int nSshPort = FreePort();
    const int nPort = FreePort();
    const std::string strKeys = "ssh-keygen -q -t ed25519 -N '' -f ";
    ASSERT_EQ(system((strKeys + (folder / "host")).c_str()), 0);
    ASSERT_EQ(system((strKeys + (folder / "user")).c_str()), 0);
    folder.Write("sshd",
                 "Port " + std::to_string(nSshPort) + "\nListenAddress 127.0.0.1\nHostKey " +
                     (folder / "host") + "\nAuthorizedKeysFile " + (folder / "user.pub") +
                     "\nPidFile none\nStrictModes no\nUsePAM no\nPasswordAuthentication no\n"
                     "AllowTcpForwarding yes\n");
    // As root it wants an account for privilege separation: it finds one in a mount namespace with
    // accounts of its own, and none is made on the machine.
    const bool bRoot = getuid() == 0;
    std::string strUser = getenv("USER") != nullptr ? getenv("USER") : "";
    std::vector<std::string> args = {strServer, "-D", "-e", "-f", folder / "sshd"};
    if (bRoot) {
        if (system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "no mount namespaces here";
        strUser = "tester";
        folder.Write("passwd",
                     "root:NP:0:0::/root:/bin/sh\nsshd:*:65533:65534::/:/bin/false\n"
                     "tester:NP:65532:65534::/tmp:/bin/sh\n");
        folder.Write("run", "mount --bind " + (folder / "passwd") +
                                " /etc/passwd && mount -t tmpfs none /run && "
                                "mkdir /run/sshd && exec " +
                                strServer + " -D -e -f " + (folder / "sshd") + "\n");
        ASSERT_EQ(chmod((folder / "").c_str(), 0755), 0);
        args = {"unshare", "-m", "sh", folder / "run"};
    }
    const Process daemon(args);
    ASSERT_TRUE(WaitForPort(nSshPort));
    const Process client({strClient, "-N", "-F", "none", "-D", "127.0.0.1:" + std::to_string(nPort),
                          "-i", folder / "user", "-p", std::to_string(nSshPort), "-o",
                          "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null", "-o",
                          "IdentitiesOnly=yes", "-o", "BatchMode=yes", strUser + "@127.0.0.1"});
    ASSERT_TRUE(WaitForPort(nPort));
    ScriptedServer server(Idle());
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS4, nPort, server.Port()), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS4, nPort, server.Port(), "anyone"), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS4A, nPort, server.Port()), kOpened);
    EXPECT_EQ(OpenThrough(QRX_PROXY_SOCKS5, nPort, server.Port()), kOpened);
    EXPECT_EQ(server.Connections(), 4);
}

// What each handshake says, and that nothing behind the proxy's answer is lost.
TEST(Proxy, BytesOnTheWire) {
    const int nServerPort = 0x1E14;  // 7700
    const struct {
        QRX_PROXY_TYPE nType;
        std::vector<std::pair<std::string, std::string>> exchange;  // expected, answered
    } kCases[] = {
        {QRX_PROXY_SOCKS4,
         {{std::string("\4\1\x1E\x14\x7F\0\0\1me\0", 11), std::string("\0\x5A\0\0\0\0\0\0", 8)}}},
        {QRX_PROXY_SOCKS4A,
         {{std::string("\4\1\x1E\x14\0\0\0\1me\000127.0.0.1\0", 21),
           std::string("\0\x5A\0\0\0\0\0\0", 8)}}},
        {QRX_PROXY_SOCKS5,
         {{std::string("\5\2\0\2", 4), std::string("\5\2", 2)},
          {std::string("\1\2me\2pw", 7), std::string("\1\0", 2)},
          {std::string("\5\1\0\1\x7F\0\0\1\x1E\x14", 10), std::string("\5\0\0\3\4host\0\1", 11)}}},
        {QRX_PROXY_HTTP,
         {{"CONNECT 127.0.0.1:7700 HTTP/1.1\r\nHost: 127.0.0.1:7700\r\n"
           "Proxy-Authorization: Basic bWU6cHc=\r\n\r\n",
           "HTTP/1.0 200 fine\r\nServer: x\r\n\r\n"}}},
    };
    for (const auto& c : kCases) {
        ScriptedServer proxy([&](Peer& peer) {
            for (const auto& [strExpected, strAnswer] : c.exchange) {
                std::string strGot(strExpected.size(), '\0');
                peer.Read(strGot.data(), strGot.size());
                EXPECT_EQ(strGot, strExpected);
                // The last answer and the tunnel's first bytes in one piece.
                peer.Send(strAnswer + (&strAnswer == &c.exchange.back().second ? "tunnel" : ""));
            }
            peer.WaitForEnd();
        });
        SynNKNetWork net(5);
        const unsigned nIP = inet_addr("127.0.0.1");
        ASSERT_EQ(net.ConnectProxy(nIP, nServerPort,
                                   static_cast<CNKNetWorkClient::NK_PROXY_TYPE>(c.nType), nIP,
                                   proxy.Port(), "me", "pw"),
                  1);
        char bytes[6];
        ASSERT_EQ(net.RecvN(bytes, 6), 6);
        EXPECT_EQ(std::string(bytes, 6), "tunnel");
    }
}

TEST(Proxy, MisbehavingProxies) {
    for (const QRX_PROXY_TYPE nType :
         {QRX_PROXY_SOCKS4, QRX_PROXY_SOCKS4A, QRX_PROXY_SOCKS5, QRX_PROXY_HTTP}) {
        ScriptedServer garbage([](Peer& peer) {
            peer.Send(std::string(100000, 'z'));
            peer.WaitForEnd();
        });
        EXPECT_EQ(OpenThrough(nType, garbage.Port(), 7700), kFailed);
        ScriptedServer gone([](Peer&) {});
        EXPECT_EQ(OpenThrough(nType, gone.Port(), 7700), kFailed);
        ScriptedServer silent([](Peer& peer) { peer.WaitForEnd(); });
        const int64_t nStart = Deadline::NowMs();
        EXPECT_EQ(OpenThrough(nType, silent.Port(), 7700, "", "", 1),
                  kFailed);  // bounded by the time-out
        EXPECT_LT(Deadline::NowMs() - nStart, 3000);
        // An abort ends the handshake at once.
        SynNKNetWork net(60);
        std::thread aborter([&] {
            usleep(200000);
            net.AbortRead();
        });
        const unsigned nIP = inet_addr("127.0.0.1");
        EXPECT_EQ(net.ConnectProxy(nIP, 7700, static_cast<CNKNetWorkClient::NK_PROXY_TYPE>(nType),
                                   nIP, silent.Port(), "", ""),
                  -1);
        aborter.join();
    }
}

}  // namespace
}  // namespace qrx::test
