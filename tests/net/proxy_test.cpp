// Opening through proxies: the real ones on loopback, each in a folder and on a port of its own,
// and scripted ones that misbehave.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "session/transport.h"
#include "support/deadline.h"
#include "support/scripted_server.h"
#include "support/server_process.h"

namespace qrx::test {
namespace {

int FreePort() {
    return ScriptedServer([](Peer&) {}).Port();
}

// A child process that is ended with the object.
class Process {
public:
    explicit Process(const std::vector<std::string>& vecWords)
        : m_nPid(StartProcess(vecWords, "/dev/null")) {}
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
        const ScratchFolder folder;
        const int nPort = FreePort();
        const std::string strSettings =
            folder.Write("conf", "Port " + std::to_string(nPort) +
                                     "\nListen 127.0.0.1\nTimeout 60\nMaxClients 20\n" +
                                     (bUser ? "BasicAuth me pw\n" : ""));
        const Process proxy({strProxy, "-d", "-c", strSettings});
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
    const ScratchFolder folder;
    const int nSshPort = FreePort();
    const int nPort = FreePort();
    const std::string strKeys = "ssh-keygen -q -t ed25519 -N '' -f ";
    ASSERT_EQ(system((strKeys + folder.Path("host")).c_str()), 0);
    ASSERT_EQ(system((strKeys + folder.Path("user")).c_str()), 0);
    folder.Write("sshd",
                 "Port " + std::to_string(nSshPort) + "\nListenAddress 127.0.0.1\nHostKey " +
                     folder.Path("host") + "\nAuthorizedKeysFile " + folder.Path("user.pub") +
                     "\nPidFile none\nStrictModes no\nUsePAM no\nPasswordAuthentication no\n"
                     "AllowTcpForwarding yes\n");
    // As root it wants an account for privilege separation: it finds one in a mount namespace with
    // accounts of its own, and none is made on the machine.
    const bool bRoot = getuid() == 0;
    std::string strUser = getenv("USER") != nullptr ? getenv("USER") : "";
    std::vector<std::string> args = {strServer, "-D", "-e", "-f", folder.Path("sshd")};
    if (bRoot) {
        if (system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "no mount namespaces here";
        strUser = "tester";
        folder.Write("passwd",
                     "root:NP:0:0::/root:/bin/sh\nsshd:*:65533:65534::/:/bin/false\n"
                     "tester:NP:65532:65534::/tmp:/bin/sh\n");
        folder.Write("run", "mount --bind " + folder.Path("passwd") +
                                " /etc/passwd && mount -t tmpfs none /run && "
                                "mkdir /run/sshd && exec " +
                                strServer + " -D -e -f " + folder.Path("sshd") + "\n");
        ASSERT_EQ(chmod(folder.Path("").c_str(), 0755), 0);
        args = {"unshare", "-m", "sh", folder.Path("run")};
    }
    const Process daemon(args);
    ASSERT_TRUE(WaitForPort(nSshPort));
    const Process client({strClient, "-N", "-F", "none", "-D", "127.0.0.1:" + std::to_string(nPort),
                          "-i", folder.Path("user"), "-p", std::to_string(nSshPort), "-o",
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

// What each handshake says, that nothing behind the proxy's answer is lost, and that an answer with
// one other byte refuses.
TEST(Proxy, BytesOnTheWire) {
    const int nServerPort = 0x1E14;  // 7700
    const std::string strGranted("\0\x5A\0\0\0\0\0\0", 8);
    struct Turn {
        std::string strExpected, strAnswer;
        size_t nVerdict;  // the byte of the answer that matters
    };
    const struct {
        QRX_PROXY_TYPE nType;
        std::vector<Turn> turns;
    } kCases[] = {
        {QRX_PROXY_SOCKS4, {{std::string("\4\1\x1E\x14\x7F\0\0\1me\0", 11), strGranted, 1}}},
        {QRX_PROXY_SOCKS4A,
         {{std::string("\4\1\x1E\x14\0\0\0\1me\000127.0.0.1\0", 21), strGranted, 1}}},
        {QRX_PROXY_SOCKS5,
         {{std::string("\5\2\0\2", 4), std::string("\5\2", 2), 0},
          {std::string("\1\2me\2pw", 7), std::string("\1\0", 2), 1},
          {std::string("\5\1\0\1\x7F\0\0\1\x1E\x14", 10), std::string("\5\0\0\3\4host\0\1", 11),
           1}}},
        {QRX_PROXY_HTTP,
         {{"CONNECT 127.0.0.1:7700 HTTP/1.1\r\nHost: 127.0.0.1:7700\r\n"
           "Proxy-Authorization: Basic bWU6cHc=\r\n\r\n",
           "HTTP/1.0 200 fine\r\nServer: x\r\n\r\n", 9}}},
    };
    for (const auto& c : kCases) {
        for (size_t nRefused = 0; nRefused <= c.turns.size(); ++nRefused) {
            SCOPED_TRACE(std::to_string(c.nType) + " refused at " + std::to_string(nRefused));
            ScriptedServer proxy([&](Peer& peer) {
                for (size_t i = 0; i < c.turns.size() && i <= nRefused; ++i) {
                    std::string strGot(c.turns[i].strExpected.size(), '\0');
                    peer.Read(strGot.data(), strGot.size());
                    EXPECT_EQ(strGot, c.turns[i].strExpected);
                    std::string strAnswer = c.turns[i].strAnswer;
                    if (i == nRefused) ++strAnswer[c.turns[i].nVerdict];
                    // The last answer and the tunnel's first bytes in one piece.
                    peer.Send(strAnswer + (i + 1 == c.turns.size() ? "tunnel" : ""));
                }
                peer.WaitForEnd();
            });
            SynNKNetWork net(5);
            const unsigned nIP = inet_addr("127.0.0.1");
            const bool bGranted = nRefused == c.turns.size();
            const int64_t nStart = Deadline::NowMs();
            ASSERT_EQ(net.ConnectProxy(nIP, nServerPort,
                                       static_cast<CNKNetWorkClient::NK_PROXY_TYPE>(c.nType), nIP,
                                       proxy.Port(), "me", "pw"),
                      bGranted ? 1 : -1);
            EXPECT_LT(Deadline::NowMs() - nStart, 3000);  // a refusal is no time-out
            if (!bGranted) continue;
            char bytes[6];
            ASSERT_EQ(net.RecvN(bytes, 6), 6);
            EXPECT_EQ(std::string(bytes, 6), "tunnel");
        }
    }
}

TEST(Proxy, MisbehavingProxies) {
    signal(SIGPIPE, SIG_DFL);
    for (const QRX_PROXY_TYPE nType :
         {QRX_PROXY_SOCKS4, QRX_PROXY_SOCKS4A, QRX_PROXY_SOCKS5, QRX_PROXY_HTTP}) {
        ScriptedServer garbage([](Peer& peer) {
            peer.Send(std::string(100000, 'z'));
            peer.WaitForEnd();
        });
        EXPECT_EQ(OpenThrough(nType, garbage.Port(), 7700), kFailed);
        // Two answers of a SOCKS 5 proxy and its end in one segment, then the client's next words.
        ScriptedServer gone([](Peer& peer) { send(peer.Socket(), "\5\2\1", 4, MSG_MORE); });
        EXPECT_EQ(OpenThrough(nType, gone.Port(), 7700, "me", "pw"), kFailed);
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
        const int64_t nConnect = Deadline::NowMs();
        EXPECT_EQ(net.ConnectProxy(nIP, 7700, static_cast<CNKNetWorkClient::NK_PROXY_TYPE>(nType),
                                   nIP, silent.Port(), "", ""),
                  -1);
        EXPECT_LT(Deadline::NowMs() - nConnect, 5000);
        aborter.join();
    }
}

}  // namespace
}  // namespace qrx::test
