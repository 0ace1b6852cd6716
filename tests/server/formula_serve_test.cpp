// Formulas over the wire: stored for one user alone, and evaluated over the server's bars. Expected
// bytes are worked by hand.
#include <algorithm>
#include <sstream>

#include "serve/turns.h"
#include "server/test_store.h"

namespace qrx::test {
namespace {

// Closes in units of 1: minutes of a Friday and a Monday, and their days.
constexpr const char* kMinutes =
    "code,date,time,open,high,low,close,volume\n"
    "600000.SH,20240105,093000,10,12,9,10,100\n600000.SH,20240105,093100,10,12,9,11,100\n"
    "600000.SH,20240105,145900,10,12,9,12,100\n600000.SH,20240108,093000,10,15,9,13,100\n"
    "600000.SH,20240108,093100,10,15,9,14,100\n";
constexpr const char* kDays =
    "code,date,open,high,low,close,volume\n600000.SH,20240105,10,12,9,12,300\n"
    "600000.SH,20240108,10,15,9,14,200\n";

class FormulaServeTest : public StoreTest {
protected:
    void SetUp() override {
        AddUser("alice", "SH");
        AddUser("bob", "SH");
        Import("codes", "code,type\n600000.SH,stock\n000001.SZ,stock\n");
        Import("bars", kMinutes);
        Import("bars", kDays, {"--cycle", "day"});
        m_pServer = std::make_unique<ServerProcess>(m_folder, m_strDb);
        for (const char* szUser : {"alice", "bob"}) m_clients.push_back(LoggedIn(szUser));
    }
    std::unique_ptr<ServerClient> LoggedIn(const char* szUser) {
        return std::make_unique<ServerClient>(*m_pServer, szUser);
    }
    ServerClient& Alice() { return *m_clients[0]; }
    ServerClient& Bob() { return *m_clients[1]; }

    static std::string AddBody(const std::string& strName, const std::string& strText) {
        std::string strBody = strName;
        strBody.resize(28);
        return strBody + Bytes(static_cast<uint32_t>(strText.size())) + strText +
               std::string(4, '\0');
    }
    // "0 1 text": result, second value, text.
    static std::string Add(ServerClient& client, const std::string& strName,
                           const std::string& strText) {
        const auto answer =
            client.Ask(6050, AddBody(strName, strText), 6051).As<ZPMDefine_AddFormulaAnswer>();
        EXPECT_EQ(answer.szAddInfo[127], '\0');
        return std::to_string(answer.nResult) + " " + std::to_string(answer.nAddResult) + " " +
               answer.szAddInfo;
    }
    static std::string Delete(ServerClient& client, std::string strName) {
        strName.resize(24);
        const auto answer = client.Ask(6052, strName, 6053).As<ZPMDefine_DelFormulaAnswer>();
        EXPECT_EQ(std::string(answer.szName, 24), strName);
        return std::to_string(answer.nResult) + " " + answer.szDelInfo;
    }
    // The body's items as they came, behind their number and size.
    static std::string Get(ServerClient& client, std::string strName = {}) {
        strName.resize(24);
        const Message message = client.Ask(6054, strName, 6055);
        const auto head = message.As<ZPMDefine_FormulaList_Head>();
        EXPECT_EQ(+head.nItemSize, 152);
        EXPECT_EQ(message.strBody.size(), 8 + 152 * static_cast<size_t>(head.nItems));
        return message.strBody.substr(8);
    }
    static std::string Item(const std::string& strName, const std::string& strText) {
        std::string strItem = strName;
        strItem.resize(24);
        strItem += strText;
        strItem.resize(152);
        return strItem;
    }
    static ZPMDefine_RequestCalcFormula CalcRequest(const char* szName, int nCycle) {
        auto request = RequestOf<ZPMDefine_RequestCalcFormula>("600000.SH");
        strcpy(request.szName, szName);
        request.nCycType = nCycle;
        request.nCycDef = 1;
        request.nBeginDate = 20240105;
        return request;
    }
    // The whole body.
    static std::string Calc(ServerClient& client, const ZPMDefine_RequestCalcFormula& request) {
        return client.Ask(6056, Bytes(request), 6057).strBody;
    }
    // What every answer's body begins with.
    static std::string Head(int nFlags, int nColumns) {
        std::string strHead(80, '\0');
        strHead.replace(28, 6, "600000").replace(36, 2, "SH");
        strHead[40] = 1;
        strHead[72] = static_cast<char>(nFlags);
        strHead[76] = static_cast<char>(nColumns);
        return strHead;
    }

    std::unique_ptr<ServerProcess> m_pServer;
    std::vector<std::unique_ptr<ServerClient>> m_clients;
};

TEST_F(FormulaServeTest, AreKeptForOneUserAlone) {
    EXPECT_EQ(Get(Alice()), "");
    EXPECT_EQ(Add(Alice(), "MID", "A = MA(CLOSE, N)"), "0 0 new; needs N; gives A");
    EXPECT_EQ(Add(Alice(), "MID", "A = OPEN\nB = CLOSE"),
              "0 1 replaced the one of this name; gives A B");
    EXPECT_EQ(Add(Alice(), "\xBF\xEC", "A = CLOSE --" + std::string(200, 'x')), "0 0 new; gives A");
    EXPECT_EQ(Add(Alice(), "BAD", "A = OPEN\nB = CLOES"), "1 0 line 2: unknown name CLOES");
    EXPECT_EQ(Add(Alice(), "BAD", std::string(65537, ' ')),
              "1 0 too long: 65537 bytes, at most 65536");
    EXPECT_EQ(Add(Alice(), "", "A = OPEN"), "1 0 a name has 1 to 23 bytes");
    EXPECT_EQ(Add(Alice(), "ABCDEFGHIJKLMNOPQRSTUVWX", "A = OPEN"), "1 0 a name has 1 to 23 bytes");
    for (const char* szName : {"A\nB", "A\x7F"}) {
        EXPECT_EQ(Add(Alice(), szName, "A = OPEN"), "1 0 a name has printable characters only");
    }
    EXPECT_EQ(Add(Bob(), "MID", "C = HIGH"), "0 0 new; gives C");

    const std::string strMid = Item("MID", "A = OPEN\nB = CLOSE");
    const std::string strFast = Item("\xBF\xEC", "A = CLOSE --" + std::string(116, 'x'));
    EXPECT_EQ(Get(Alice()), strMid + strFast);
    EXPECT_EQ(Get(Alice(), "MID"), strMid);
    EXPECT_EQ(Get(Alice(), "\xBF\xEC"), strFast);
    EXPECT_EQ(Get(Bob()), Item("MID", "C = HIGH"));
    EXPECT_EQ(Get(Bob(), "\xBF\xEC"), "");
    EXPECT_EQ(Delete(Bob(), "\xBF\xEC"), "1 no formula of this name");
    EXPECT_EQ(Delete(Bob(), "MID"), "0 no longer stored");
    EXPECT_EQ(Get(Alice(), "MID"), strMid);

    // They outlive the server, not their user.
    m_clients.clear();
    EXPECT_EQ(m_pServer->Stop(), 0);
    m_pServer = std::make_unique<ServerProcess>(m_folder, m_strDb);
    ServerClient client(*m_pServer, "alice");
    EXPECT_EQ(Get(client), strMid + strFast);
    for (int i = 2; i < 500; ++i) Add(client, "F" + std::to_string(i), "A = OPEN");
    EXPECT_EQ(Add(client, "F1", "A = OPEN"),
              "1 0 too many: 500 formulas are stored; delete one first");
    EXPECT_EQ(Add(client, "F7", "A = OPEN").substr(0, 4), "0 1 ");
    Must({"user", "remove", "alice"});
    AddUser("alice", "SH");
    EXPECT_EQ(Get(client), "");
}

TEST_F(FormulaServeTest, AnswersColumnsOfBars) {
    Add(Alice(), "F",
        "K = K or 1 A = REF(CLOSE, 1) / 10000 * K BC = REF(OPEN, 9)\n"
        "D = IF(CLOSE > 110000, 2147483647, -12345)");
    // Dates: 340004 days after 19900101, then 0 and 3. Times: 34200000 ms, 60000 more, 19680000
    // more. The step from the smallest to the largest cell is 0x80003038.
    const std::string strRows("\x05\x44\x81\x29\x00\x00\x03\x00", 8);
    const std::string strTimes(
        "\x60\xCE\x4E\x10\x40\x53\x07\x60\x58\x62\x09\x60\xCE\x4E\x10\x40\x53\x07", 18);
    const std::string strColumns(
        "\x01"
        "A\x01\x04\x05\x04\x04\x04"
        "\x02"
        "BC\x04\x04\x00"
        "\x01"
        "D\x00\x04\xA0\x39\x30\x00\x40\x38\x30\x00\x80\x00\x00",
        29);
    auto request = CalcRequest("F", 0);
    EXPECT_EQ(Calc(Alice(), request), Head(2, 3) + strRows + strTimes + strColumns);
    // Days have no times; a parameter goes before its default, a factor into every price.
    Import("adjust", "code,date,factor\n600000.SH,20240105,2\n");
    request = CalcRequest("F", 7);
    strcpy(request.szParam, "K=-2");
    request.nCQFlag = 2;
    const std::string strDays(
        "\x02\x44\x81\x29\x03\x01"
        "A\x01\x01\x90\x30\x02"
        "BC\x01\x01\x00\x01"
        "D\x00\x01\x40\xFF\xFF\xFF\x7F\x00",
        27);
    EXPECT_EQ(Calc(Alice(), request), Head(0, 3) + strDays);
    // Times bound the first and the last day.
    request = CalcRequest("F", 0);
    request.nEndDate = 20240108;
    request.nBeginTime = 93200000;
    request.nEndTime = 93000000;
    EXPECT_EQ(Calc(Alice(), request).substr(80, 13),
              std::string("\x02\x44\x81\x29\x03\x60\x79\xB8\x19\x60\xCE\x4E\x10", 13));
}

TEST_F(FormulaServeTest, AnswersWithoutRowsAndSaysWhyInTheLog) {
    Add(Alice(), "F", "A = 1 / (CLOSE - 110000)\nB = CLOSE * N");
    const auto with = [](auto change) {
        auto request = CalcRequest("F", 0);
        change(request);
        return request;
    };
    using Request = ZPMDefine_RequestCalcFormula;
    const struct {
        Request request;
        const char* szWhy;
    } kCases[] = {
        {CalcRequest("F", 0), "line 2: unknown name N"},
        {with([](Request& r) { strcpy(r.szParam, "N=1"); }),
         "line 1: A is inf in row 2 (20240105)"},
        {with([](Request& r) { strcpy(r.szParam, "N=1;M=1"); }), "no parameter M"},
        {CalcRequest("G", 0), "no formula of this name"},
        {with([](Request& r) { r.nBeginDate = 20240109; }), "no bars"},
        {with([](Request& r) { r.chCode[0] = '7'; }), "no such code"},
        {with([](Request& r) {
             memcpy(r.chCode, "000001", 6);
             memcpy(r.chMarket, "SZ", 2);
         }),
         "its market is not open"},
    };
    for (const auto& test : kCases) {
        const std::string strBody = Calc(Alice(), test.request);
        EXPECT_EQ(strBody.substr(72), std::string(9, '\0')) << test.szWhy;
        const std::string strLog = m_pServer->Log();
        EXPECT_NE(strLog.find("user \"alice\" formula \""), std::string::npos);
        EXPECT_NE(strLog.find(test.szWhy), std::string::npos) << strLog;
    }
    EXPECT_EQ(Calc(Bob(), CalcRequest("F", 0)).size(), 81U);
}

TEST(TurnsTest, GoRoundAmongUsers) {
    using server::Turns;
    Turns turns(2);
    std::string strBegun;
    std::map<std::string, std::unique_ptr<Turns::Turn>> mapTurns;
    const auto want = [&](const std::string& strName) {
        mapTurns[strName] = std::make_unique<Turns::Turn>(
            turns, strName.substr(0, 1), [&strBegun, strName] { strBegun += strName + " "; });
    };
    const auto begunBy = [&](auto act) {
        strBegun.clear();
        act();
        return strBegun;
    };
    for (const char* sz : {"a1", "a2", "a3", "a4", "b1", "b2", "c1"}) want(sz);
    EXPECT_EQ(strBegun, "a1 a2 ");
    EXPECT_EQ(begunBy([&] { mapTurns.erase("a1"); }), "b1 ");  // a2 lasts, so no other of a
    EXPECT_EQ(begunBy([&] { mapTurns.erase("a2"); }), "c1 ");  // never had one
    EXPECT_EQ(begunBy([&] { mapTurns.erase("a3"); }), "");     // is withdrawn
    EXPECT_EQ(begunBy([&] { mapTurns.erase("b1"); }), "a4 ");  // had none for longest
    EXPECT_EQ(begunBy([&] { want("a5"), want("c2"), mapTurns.erase("c1"); }), "b2 ");
    EXPECT_EQ(begunBy([&] { mapTurns.erase("b2"); }), "c2 ");
    EXPECT_EQ(begunBy([&] { want("c3"), mapTurns.erase("c2"); }), "c3 ");  // a4 still lasts
    EXPECT_EQ(begunBy([&] { mapTurns.erase("c3"); }), "a5 ");  // beside a4: nobody else waits
    EXPECT_EQ(begunBy([&] { want("b3"), turns.Stop(), mapTurns.clear(); }), "");
}

TEST_F(FormulaServeTest, ManyOfOneUserDoNotHoldUpAnother) {
    Add(Alice(), "F", "for i = 1, N do end A = 1 / (CLOSE - 110000)");
    Add(Bob(), "F", "A = 1 / (CLOSE - 110000)");
    constexpr size_t kMany = 8, kLeave = 2;
    std::vector<std::unique_ptr<ServerClient>> clients;
    while (clients.size() < kMany + kLeave) clients.push_back(LoggedIn("alice"));
    auto request = CalcRequest("F", 0);
    strcpy(request.szParam, "N=20000000");
    for (const auto& pClient : clients) pClient->Send(6056, 10, Bytes(request));
    clients.resize(kMany);  // the others leave while their formulas wait
    Calc(Bob(), CalcRequest("F", 0));
    for (const auto& pClient : clients) EXPECT_TRUE(pClient->Receive());

    // Each of these calculations fails and leaves a line in the log.
    const auto lines = [&](const char* szPart) {
        std::istringstream log(m_pServer->Log());
        std::vector<std::string> vec;
        for (std::string strLine; std::getline(log, strLine);) {
            if (strLine.find(szPart) != std::string::npos) vec.push_back(strLine);
        }
        return vec;
    };
    for (int i = 0; i < 500 && lines(" left").size() < kLeave; ++i) usleep(20000);
    EXPECT_EQ(lines(" left").size(), kLeave);
    const auto vecDone = lines("A is inf");
    EXPECT_EQ(vecDone.size(), kMany + 1);
    const auto itBob = std::find_if(vecDone.begin(), vecDone.end(), [](const std::string& str) {
        return str.find("user \"bob\"") != std::string::npos;
    });
    EXPECT_GE(vecDone.end() - itBob, 4);
}

// Malformed requests end their connection; whatever a formula is, the server goes on.
TEST_F(FormulaServeTest, NothingTakesTheServerDown) {
    const std::string strBody = AddBody("F", "A = OPEN");
    for (const auto& [nType, strBad] :
         std::vector<std::pair<int, std::string>>{{6050, strBody.substr(0, strBody.size() - 1)},
                                                  {6050, strBody + "x"},
                                                  {6050, strBody.substr(0, 35)},
                                                  {6052, std::string(23, 'x')},
                                                  {6054, std::string(25, 'x')},
                                                  {6056, std::string(203, '\0')}}) {
        const auto pClient = LoggedIn("alice");
        pClient->Send(nType, 1, strBad);
        EXPECT_TRUE(pClient->IsClosedByServer()) << nType << " " << strBad.size();
    }
    // Formulas that work as long as they may hold up neither logins nor data.
    Alice().Send(6050, 1, AddBody("L", "while true do end"));
    Alice().Send(6050, 2, AddBody("L", "while true do end"));
    Bob().Send(6050, 3, AddBody("L", "t = {} while true do t[1] = {t[1]} end"));
    EXPECT_EQ(LoggedIn("bob")->Codes("SH").size(), 1U);
    for (auto* pClient : {&Alice(), &Alice(), &Bob()}) {
        const Message message = pClient->Receive().value_or(Message{});
        EXPECT_EQ(message.As<ZPMDefine_AddFormulaAnswer>().nResult, 1);
    }
    EXPECT_TRUE(m_pServer->IsRunning());
    Alice().Send(6050, 4, AddBody("L", "while true do end"));
    EXPECT_EQ(m_pServer->Stop(), 0);
}

}  // namespace
}  // namespace qrx::test
