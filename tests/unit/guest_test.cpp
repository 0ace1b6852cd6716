// The shared library as a guest in a process: its symbols, its needs, and what it does at fork,
// exit and unload.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "codec/codecs.h"
#include "support/deadline.h"
#include "support/fetch.h"
#include "support/sanitizers.h"

namespace qrx::test {
namespace {

const std::string kLibrary = std::string(QRX_BUILD_DIR) + "/libqrx.so";

std::string Output(const std::string& strCommand) {
    FILE* pPipe = popen(strCommand.c_str(), "r");
    std::string strAll;
    char bytes[4096];
    for (size_t n; (n = fread(bytes, 1, sizeof bytes, pPipe)) > 0;) strAll.append(bytes, n);
    EXPECT_EQ(pclose(pPipe), 0) << strCommand;
    return strAll;
}

std::set<std::string> Matches(const std::string& strText, const std::string& strPattern) {
    const std::regex pattern(strPattern);
    std::set<std::string> found;
    for (std::sregex_iterator it(strText.begin(), strText.end(), pattern), end; it != end; ++it) {
        found.insert((*it)[1]);
    }
    return found;
}

std::string FileText(const std::string& strPath) {
    std::ifstream file(strPath);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(Guest, ExportsAreTheHeadersFunctions) {
    const std::string strSource = QRX_SOURCE_DIR;
    const auto header =
        Matches(FileText(strSource + "/include/qrx/qrx.h"), "QRX_API [^;(]*\\b(QRX_\\w+)\\(");
    const auto list = Matches(FileText(strSource + "/src/qrx.map"), "\\s(QRX_[A-Z]\\w+);");
    const auto symbols =
        Matches(Output("nm -D --defined-only " + kLibrary), "[0-9a-f]+ [^A] (\\w+)[@\n]");
    EXPECT_EQ(header.size(), 19U);
    EXPECT_EQ(header, list);
    EXPECT_EQ(header, symbols);
}

TEST(Guest, NeedsAndUndefinedSymbols) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer build needs its runtime";
    const std::string strDynamic = Output("readelf -d " + kLibrary);
    const std::set<std::string> allowed = {"libstdc++.so.6", "libgcc_s.so.1", "libc.so.6",
                                           "libm.so.6", "ld-linux-x86-64.so.2"};
    for (const std::string& strNeed : Matches(strDynamic, "NEEDED.*\\[(.*)\\]")) {
        EXPECT_TRUE(allowed.count(strNeed) != 0) << strNeed;
    }
    EXPECT_EQ(Matches(strDynamic, "SONAME.*\\[(.*)\\]"), std::set<std::string>{"libqrx.so.1"});
    EXPECT_NE(strDynamic.find("NODELETE"), std::string::npos);
    const auto undefined = Matches(Output("nm -D --undefined-only " + kLibrary), " U (\\w+)");
    for (const char* szSymbol : {"exit", "_exit", "quick_exit", "signal", "sigaction", "raise",
                                 "kill", "getenv", "secure_getenv", "setlocale", "select", "system",
                                 "setenv", "gethostbyname", "getaddrinfo"}) {
        EXPECT_EQ(undefined.count(szSymbol), 0U) << szSymbol;
    }
    // What the diagnostics of the contract are written with, and nothing else that prints.
    const std::regex printing("\\w*printf\\w*|f?put[cs]|putchar|fwrite|perror|_ZSt4(cout|cerr)");
    const std::regex diagnostics("fprintf|v?snprintf|__(f|s|vs)n?printf_chk");
    for (const std::string& strSymbol : undefined) {
        if (!std::regex_match(strSymbol, printing)) continue;
        EXPECT_TRUE(std::regex_match(strSymbol, diagnostics)) << strSymbol;
    }
}

// The handler of a server that answers one order after a pause.
Handler SlowOrders(int nPauseMs) {
    return [=](Peer& peer, const Message& r) {
        usleep(static_cast<useconds_t>(nPauseMs) * 1000);
        ZPMDefine_SaveData_Head head{};
        head.nItems = 1;
        head.nLastPacket = 1;
        return peer.Answer(r, ID_ZPMTELE_ORDER_V2, Bytes(head));
    };
}

int GetOrders(void* h) {
    return Fetch(&QRX_GetOrder, h, RequestFor<QRXDefine_ReqOrder>("600000.SH", 20240105)).nResult;
}

int InChild(const std::function<int()>& run) {
    fflush(nullptr);
    const pid_t nPid = fork();
    if (nPid == 0) _exit(run());
    int nStatus = 0;
    waitpid(nPid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1000 + nStatus;
}

// It may open sessions of its own instead (no threads after a fork, though, under a sanitizer).
TEST(Guest, AChildLeavesTheParentsSessionAlone) {
    ScriptedServer server(Serving(SlowOrders(0)));
    Session session(server.Port());
    void* h = session.Get();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(SessionDescriptors(server.Port()).size(), 2U);
    EXPECT_EQ(InChild([&] {
                  alarm(20);
                  QRXDefine_Code* pCodes = nullptr;
                  int nCount = 0;
                  int nBad = GetOrders(h) != -1;
                  nBad += QRX_GetCodeTable(h, "SH", &pCodes, &nCount) != -1;
                  nBad += QRX_GetCodeInfo(h, "600000.SH") != nullptr;
                  nBad += QRX_Close(h) != 0;
                  nBad += QRX_Close(h) != -11;
                  nBad += !SessionDescriptors(server.Port()).empty();
                  if (kSanitized) return nBad;
                  Session own(server.Port());
                  nBad += own.Get() == nullptr || GetOrders(own.Get()) != 0;
                  return nBad + (own.Close() != 0);
              }),
              0);
    EXPECT_EQ(GetOrders(h), 0);  // nothing was shut down
}

TEST(Guest, ExitWhileACallRuns) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own exit checks see the running thread";
    EXPECT_EXIT(
        {
            alarm(20);
            ScriptedServer* pServer = new ScriptedServer(Serving(SlowOrders(5000)));
            Session* pSession = new Session(pServer->Port());
            std::thread([=] { GetOrders(pSession->Get()); }).detach();
            usleep(100000);
            exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST(Guest, UnloadedWithAnOpenSession) {
    ScriptedServer server(Serving(SlowOrders(300)));
    void* pLibrary = dlopen(kLibrary.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(pLibrary, nullptr) << dlerror();
    const auto open = reinterpret_cast<decltype(&QRX_Open)>(dlsym(pLibrary, "QRX_Open"));
    const auto close = reinterpret_cast<decltype(&QRX_Close)>(dlsym(pLibrary, "QRX_Close"));
    const OPEN_SETTINGS settings = Settings(server.Port());
    QRXDefine_ResLogin login;
    void* h = open(&settings, &login);
    ASSERT_NE(h, nullptr) << login.szInfo;
    EXPECT_EQ(dlclose(pLibrary), 0);
    EXPECT_EQ(close(h), 0);  // still mapped
}

TEST(Guest, TwoThousandDescriptors) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 2200) GTEST_SKIP() << "no more than " << limit.rlim_cur << " descriptors";
    std::vector<Descriptor> many;
    while (many.size() < 2000) many.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    ScriptedServer server(Serving(SlowOrders(0)));
    Session session(server.Port());
    EXPECT_EQ(GetOrders(session.Get()), 0);
    // No descriptor to be had is a failed connect.
    for (int fd; (fd = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) many.emplace_back(fd);
    const OPEN_SETTINGS settings = Settings(server.Port());
    QRXDefine_ResLogin login;
    EXPECT_EQ(QRX_Open(&settings, &login), nullptr);
    EXPECT_STREQ(login.szInfo, "connect: connect failed!");
    many.clear();  // before threads end, when a sanitizer wants a pipe to look at memory with
}

TEST(Guest, CancellationWaitsForTheCallToEnd) {
    if (kSanitized) GTEST_SKIP() << "cancellation is not followed by the sanitizers";
    ScriptedServer server(Serving(SlowOrders(300)));
    Session session(server.Port());
    struct Shared {
        void* h;
        std::atomic<int> nResult{99};
    } shared{session.Get()};
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void* p) -> void* {
            auto* pShared = static_cast<Shared*>(p);
            pShared->nResult = GetOrders(pShared->h);
            pthread_testcancel();
            return nullptr;
        },
        &shared);
    usleep(100000);
    pthread_cancel(thread);
    void* pEnd = nullptr;
    pthread_join(thread, &pEnd);
    EXPECT_EQ(pEnd, PTHREAD_CANCELED);
    EXPECT_EQ(shared.nResult, 0);
    EXPECT_EQ(GetOrders(session.Get()), 0);
}

TEST(Guest, HeaderShowsTheExample) {
    std::string strHeader =
        std::regex_replace(FileText(std::string(QRX_SOURCE_DIR) + "/include/qrx/qrx.h"),
                           std::regex("\n \\*     "), "\n");
    EXPECT_NE(strHeader.find(FileText(std::string(QRX_SOURCE_DIR) + "/examples/first.c")),
              std::string::npos);
}

}  // namespace
}  // namespace qrx::test
