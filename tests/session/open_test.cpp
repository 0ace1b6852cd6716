// Opening a session: outcomes of login and code tables, and what stands in the login result.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "support/deadline.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

// Opens against a script; the handle (closed again) and the text.
struct Outcome {
    bool bOpen = false;
    std::string strText;
    QRXDefine_ResLogin login{};
};
Outcome TryOpen(ScriptedServer::Script script, unsigned nTimeOut = 5) {
    ScriptedServer server(std::move(script));
    const OPEN_SETTINGS settings = Settings(server.Port(), nTimeOut);
    Outcome outcome;
    void* h = QRX_Open(&settings, &outcome.login);
    outcome.bOpen = h != nullptr;
    outcome.strText = std::string(outcome.login.szInfo, strnlen(outcome.login.szInfo, 64));
    if (h != nullptr) EXPECT_EQ(QRX_Close(h), 0);
    return outcome;
}

// Answers the login with a body; then what `after` does.
ScriptedServer::Script LoginScript(const std::string& strBody, int nFlags = PROTOCAL_NUMBER,
                                   ScriptedServer::Script after = {},
                                   int nType = ID_ZPMTELE_LOGIN_ANSWER) {
    return [=](Peer& peer) {
        Message request;
        if (!peer.Receive(request)) return;
        peer.Send(Packet(nType, 0, strBody, nFlags));
        if (after) {
            after(peer);
        } else {
            peer.WaitForEnd();
        }
    };
}

// Answers requests for code tables with these packets; then what `after` does.
ScriptedServer::Script Tables(
    const std::vector<TestMarket>& vecMarkets, const std::vector<std::string>& vecPackets,
    ScriptedServer::Script after = [](Peer&) {}) {
    return LoginScript(LoginAnswer(vecMarkets), PROTOCAL_NUMBER, [=](Peer& peer) {
        Message request;
        for (const std::string& strPacket : vecPackets) {
            if (peer.Receive(request)) peer.Send(strPacket);
        }
        if (peer.Receive(request)) after(peer);
    });
}

const std::string kOpened = "retrieve code table: success!";

TEST(Open, FillsTheLoginResult) {
    Message asked;
    ZPMDefine_LoginAnswer answer{};
    memcpy(answer.szInfo, "hello", 5);
    answer.nResult = 1;
    answer.nMarkets = 2;
    memcpy(answer.chMarket[0], "SHFE", 4);  // four characters, no terminator
    memcpy(answer.chMarket[1], "sz", 2);
    answer.nMarketInfo[3] = 33;  // zeros between are skipped
    answer.nMarketInfo[31] = 44;
    std::vector<std::string> vecTables;
    ScriptedServer server([&](Peer& peer) {
        peer.Receive(asked);
        peer.Send(Packet(ID_ZPMTELE_LOGIN_ANSWER, 7, Bytes(answer) + "more", 0));
        Message request;
        while (peer.Receive(request)) {
            vecTables.push_back(request.strBody);
            peer.Send(Packet(
                ID_ZPMTELE_CODETABLE, 0,
                CodeTableAnswer({"", {{vecTables.size() == 1 ? "cu1701" : "000001", 112}}})));
        }
    });
    OPEN_SETTINGS settings = Settings(server.Port());
    memset(settings.szUser, 'u', sizeof settings.szUser);  // no terminator
    memset(settings.szPassword, 'p', sizeof settings.szPassword);
    QRXDefine_ResLogin login;
    memset(&login, 0x5A, sizeof login);
    void* h = QRX_Open(&settings, &login);
    ASSERT_NE(h, nullptr);
    EXPECT_STREQ(login.szInfo, "retrieve code table: success!");
    EXPECT_EQ(login.nMarkets, 2);
    EXPECT_STREQ(login.szMarket[0], "SHFE");
    EXPECT_STREQ(login.szMarket[1], "sz");
    EXPECT_EQ(login.szMarket[2][0], 0);
    EXPECT_EQ(login.nMarketInfo[0], 33);
    EXPECT_EQ(login.nMarketInfo[1], 44);
    EXPECT_EQ(login.nMarketInfo[2], 0);
    // Tables stand under the upper-cased name; records carry the market as requested.
    QRXDefine_Code* pCodes = nullptr;
    int nCount = 0;
    ASSERT_EQ(QRX_GetCodeTable(h, nullptr, &pCodes, &nCount), 0);
    ASSERT_EQ(nCount, 2);
    EXPECT_STREQ(pCodes[0].szVelaCode, "cu1701.SHFE");
    EXPECT_STREQ(pCodes[1].szVelaCode, "000001.sz");
    QRX_Free(pCodes);
    EXPECT_EQ(QRX_Close(h), 0);

    ASSERT_EQ(asked.head.sFlags, 21320);
    ASSERT_EQ(asked.head.nRequestID, 0);
    ASSERT_EQ(asked.strBody.size(), 88U);
    EXPECT_EQ(asked.strBody, std::string(16, 'u') + std::string(32, 'p') +
                                 std::string("GQCOMP\0\0", 8) + std::string(32, '\0'));
    ASSERT_EQ(vecTables.size(), 2U);
    EXPECT_EQ(vecTables[0], std::string("SHFE\0\0\0\0", 8));
}

TEST(Open, Refusals) {
    const auto& markets = DefaultMarkets();
    ZPMDefine_LoginAnswer negative{};
    negative.nResult = 1;
    negative.nMarkets = -3;
    const std::vector<TestMarket> two = {{"SH", {}}, {"SZ", {}}};
    const std::string strEmpty = Packet(ID_ZPMTELE_CODETABLE, 0, CodeTableAnswer(two[0]));
    const auto silent = [](Peer& peer) { peer.WaitForEnd(); };
    const struct {
        ScriptedServer::Script script;
        std::string strText;
        unsigned nTimeOut = 5;
    } kCases[] = {
        {LoginScript(LoginAnswer(markets, 0, "wrong password")), "wrong password"},
        {LoginScript(LoginAnswer({})), "login: no authorized markets!"},
        {LoginScript(Bytes(negative)), "login: no authorized markets!"},
        {silent, "login: recv time out!", 1},
        {[](Peer&) {}, "login: connect failed!"},
        {Tables(two, {strEmpty, strEmpty}), "retrieve code table: no code table!"},
        {Tables(two, {strEmpty}, silent), "retrieve code table: recv time out!", 1},
        {Tables(two, {}), "retrieve code table: connect failed!"},
        // One empty market and one with a code is an open session.
        {Tables(two,
                {strEmpty, Packet(ID_ZPMTELE_CODETABLE, 0, CodeTableAnswer({"SZ", {{"1", 16}}}))}),
         kOpened},
        // An item size below the stride passes the length check; what the body does not hold is not
        // there.
        {Tables({{"SH", {}}},
                {Packet(ID_ZPMTELE_CODETABLE, 0,
                        Bytes(ZPMDefine_CodeTable_Head{0, 1000, 1}) + std::string(1000, 'A'))}),
         kOpened}};
    for (const auto& c : kCases) {
        const Outcome outcome = TryOpen(c.script, c.nTimeOut);
        EXPECT_EQ(outcome.strText, c.strText);
        EXPECT_EQ(outcome.bOpen, c.strText == kOpened) << c.strText;
    }
    // Answered and closed at once: still the server's own word. Market names are filled all the
    // same.
    for (int i = 0; i < 50; ++i) {
        const Outcome cut =
            TryOpen(LoginScript(LoginAnswer(markets, 2, "go away"), PROTOCAL_NUMBER, [](Peer&) {}));
        ASSERT_EQ(cut.strText, "go away");
        ASSERT_STREQ(cut.login.szMarket[0], "SH");
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(TryOpen(LoginScript(std::string(100, 'x'))).strText,
              "login: receive exception data!");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "MarketDataSource::LogIn \xca\xd5\xb5\xbd\xb5\xc4\xb0\xfc\xcd\xb7\xb3\xa4\xb6\xc8\xd2\xec"
        "\xb3\xa3:100!\n");
    const OPEN_SETTINGS nobody = Settings(1);
    QRXDefine_ResLogin login;
    EXPECT_EQ(QRX_Open(&nobody, &login), nullptr);
    EXPECT_STREQ(login.szInfo, "connect: connect failed!");
}

TEST(OpenDeath, ContractViolations) {
    const auto& markets = DefaultMarkets();
    ZPMDefine_LoginAnswer many{};
    many.nResult = 1;
    many.nMarkets = 32;
    const std::pair<const char*, ScriptedServer::Script> kCases[] = {
        {"mark of a login", LoginScript(LoginAnswer(markets), 1)},
        {"markets", LoginScript(Bytes(many))},
        {"type of a login", LoginScript(LoginAnswer(markets), 0, {}, 3)},
        // A code table does not accept a zero mark, nor items beyond its length.
        {"mark of a table", Tables(markets, {Packet(1001, 0, CodeTableAnswer(markets[0]), 0)})},
        {"items of a table", Tables(markets, {Packet(1001, 0,
                                                     Bytes(ZPMDefine_CodeTable_Head{0, 2, 52}) +
                                                         std::string(100, 'A'))})}};
    for (const auto& [szWhat, script] : kCases) {
        EXPECT_DEATH(TryOpen(script), "MarketDataSource:[0-9]+: ") << szWhat;
    }
    QRX_PROXY_SETTING proxy{};
    proxy.nProxyType = 4;
    const OPEN_SETTINGS settings = Settings(1);
    QRXDefine_ResLogin login;
    EXPECT_DEATH(QRX_OpenProxy(&settings, &proxy, &login),
                 "MarketDataSource:[0-9]+: .*Assertion `0' failed");
}

// The threads of this process that block every standard signal that can be blocked.
std::set<std::string> ThreadsWithoutSignals() {
    constexpr uint64_t kAll = 0x7FFFFFFF & ~(1U << (SIGKILL - 1)) & ~(1U << (SIGSTOP - 1));
    std::set<std::string> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "status");
        for (std::string strWord; file >> strWord;) {
            if (strWord != "SigBlk:") continue;
            uint64_t nBlocked = 0;
            file >> std::hex >> nBlocked;
            if ((nBlocked & kAll) == kAll) threads.insert(task.path().filename());
        }
    }
    return threads;
}

TEST(Open, WhatASessionHasInItsProcess) {
    std::thread([] {}).join();  // with the first one a sanitizer starts its own
    const std::set<std::string> former = ThreadsWithoutSignals();
    ScriptedServer server(Serving([](Peer&, const Message&) { return true; }));
    const Session session(server.Port());
    std::set<std::string> threads = ThreadsWithoutSignals();
    for (const std::string& strThread : former) threads.erase(strThread);
    EXPECT_EQ(threads.size(), 1U);
    const std::vector<int> descriptors = SessionDescriptors(server.Port());
    ASSERT_EQ(descriptors.size(), 2U);
    for (const int fd : descriptors) EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    for (const auto& [nLevel, nOption] :
         {std::pair<int, int>(IPPROTO_TCP, TCP_NODELAY), {SOL_SOCKET, SO_KEEPALIVE}}) {
        int nOn = 0;
        socklen_t nSize = sizeof nOn;
        EXPECT_EQ(getsockopt(descriptors[0], nLevel, nOption, &nOn, &nSize), 0);
        EXPECT_NE(nOn, 0) << nOption;
    }
}

TEST(Codes, Lookups) {
    ScriptedServer server(Serving([](Peer&, const Message&) { return true; }));
    Session session(server.Port());
    void* h = session.Get();
    ASSERT_NE(h, nullptr);
    const QRXDefine_Code* pCode = QRX_GetCodeInfo(h, "CU1701.shf");
    ASSERT_NE(pCode, nullptr);
    EXPECT_STREQ(pCode->szVelaCode, "cu1701.SHF");
    EXPECT_EQ(pCode->nType, 112);
    EXPECT_EQ(QRX_GetCodeInfo(h, "600001.SH"), nullptr);
    EXPECT_EQ(QRX_GetCodeInfo(h, "600000"), nullptr);
    EXPECT_EQ(QRX_GetCodeInfo(h, ".SH"), nullptr);
    EXPECT_EQ(QRX_GetCodeInfo(h, (std::string(40, 'x') + ".SH").c_str()), nullptr);
    struct {
        const char* szMarket;
        int nResult, nCount;
    } kCases[] = {{"sh", 0, 2}, {"SHF", 0, 3},    {"XX", -3, 0},
                  {"", 0, 12},  {nullptr, 0, 12}, {"SH34567890", -3, 0}};
    for (const auto& c : kCases) {
        QRXDefine_Code* pCodes = reinterpret_cast<QRXDefine_Code*>(&server);
        int nCount = 99;
        EXPECT_EQ(QRX_GetCodeTable(h, c.szMarket, &pCodes, &nCount), c.nResult);
        EXPECT_EQ(nCount, c.nCount);
        EXPECT_EQ(pCodes != nullptr, c.nCount > 0);
        if (c.nCount == 12) EXPECT_STREQ(pCodes[2].szVelaCode, "000001.SZ");  // login order
        QRX_Free(pCodes);
    }
}

}  // namespace
}  // namespace qrx::test
