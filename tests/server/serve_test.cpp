// What a client sees of a qrx-server that really runs: login, code tables, days of data, and what
// becomes of connections that misbehave.
#include <array>
#include <fstream>
#include <memory>

#include "server/test_store.h"
#include "support/sanitizers.h"

namespace qrx::test {
namespace {

// Rows of a night that belongs to Monday 20240108, and of that Monday; every column on the last
// ones.
constexpr const char* kTicks =
    "code,market,date,time,price,volume,turnover,trades,open_interest,phase,side,open,high,low,"
    "prev_close,ask_price1,ask_volume1,bid_price10,bid_volume10,ask_average,bid_average,ask_total,"
    "bid_total,index_up,index_flat\n"
    "600000,SH,20240105,210000000,10.01,100,1001,,,,,,,,,,,,,,,,,,\n"
    "600000,SH,20240106,003000500,10.02,200,2004,,,,,,,,,,,,,,,,,,\n"
    "600000,SH,20240108,093000000,-0.5,300,3009.1234,7,8,T,B,10.01,10.05,-1,9.99,10.03,55,9.87,66,"
    "10.04,9.86,777,888,1,2\n"
    "IF2401,CF,20240108,093000000,1,1,1,,,,,,,,,,,,,,,,,,\n"  // open to nobody
    "000001,SH,20240108,093003000,3001.2345,7,70000,5,6,T,S,3000,3002,2999,2990,1,2,3,4,5,6,7,8,41,"
    "42\n";

class ServeTest : public testing::Test {
protected:
    // One store and one server for all; tests only read.
    static void SetUpTestSuite() {
        s_pStore = std::make_unique<TestStore>();
        s_pStore->AddUser("alice", "sh,SZ");
        s_pStore->Must(
            {"user", "add", "nobody", "--password-file", s_pStore->m_folder.Path("password")});
        std::string strMany;
        for (int i = 0; i < 17; ++i) strMany += "贵";
        s_pStore->Import("codes", "code,market,name,type\n000001,SH," + strMany +
                                      ",index\n600000,SH,a" + strMany +
                                      ",stock\n600004,SH,白云,17\nIF2401,CF,期货,future\n");
        s_pStore->Import("ticks", kTicks);
        std::string strTrades = "code,market,date,time,price,volume,side\n";
        for (int i = 0; i < kTrades; ++i) {
            strTrades += "600000,SH,20240109,93000000," + std::to_string(1000 + i % 997) + ".01," +
                         std::to_string(i) + ",B\n";
        }
        s_pStore->Import("trades", strTrades);
        s_pServer = std::make_unique<ServerProcess>(s_pStore->m_folder, s_pStore->m_strDb,
                                                    std::vector<std::string>{"--stall", "2"});
    }
    static void TearDownTestSuite() {
        if (s_pServer) EXPECT_EQ(0, s_pServer->Stop());
        s_pServer.reset();
        s_pStore.reset();
    }
    void SetUp() override { ASSERT_TRUE(s_pServer && s_pServer->IsRunning()); }

    static std::unique_ptr<ServerClient> LoggedIn() {
        return std::make_unique<ServerClient>(*s_pServer, "alice");
    }
    // Does the server still answer?
    static void ExpectAlive(ServerClient& client) {
        EXPECT_EQ(3U, client.Fetch<ZPMDefine_Tick_Night>(ID_ZPMTELE_REQ_TICK_NIGHT, kDay).size());
    }
    // The last record of a day of ticks, all of whose packets have this type.
    template <class Record>
    static void ExpectLast(int nType, const ZPMDefine_RequestTickData& request, int nAnswer,
                           size_t nRecords, const std::string& strLast) {
        SCOPED_TRACE(nAnswer);
        std::vector<Message> vecMessages;
        const auto vec = LoggedIn()->Fetch<Record>(nType, request, &vecMessages);
        for (const auto& message : vecMessages) {
            EXPECT_EQ(nAnswer, message.head.sDataType);
            EXPECT_EQ(Bytes(request).substr(0, 16), message.strBody.substr(0, 16));
        }
        ASSERT_EQ(nRecords, vec.size());
        EXPECT_EQ(strLast, Bytes(vec.back()));
    }

    static inline const auto kDay = TickRequest("600000.SH", 20240108, 2);
    static constexpr int kTrades = 400000;
    static inline std::unique_ptr<TestStore> s_pStore;
    static inline std::unique_ptr<ServerProcess> s_pServer;
};

TEST_F(ServeTest, LoginIsAcceptedWithMarketsOrRefusedWithAText) {
    ServerClient good(*s_pServer);
    const Message message = good.LogIn("alice", "secret");
    const auto answer = message.As<ZPMDefine_LoginAnswer>();
    EXPECT_EQ(424, message.head.nDataLen);
    EXPECT_EQ(1, +answer.nResult);
    ASSERT_EQ(2, +answer.nMarkets);
    EXPECT_EQ(0, memcmp(answer.chMarket, "SH\0\0SZ\0\0", 8));
    EXPECT_GT(+answer.nMarketInfo[0], 20000101);
    EXPECT_EQ(19700101, +answer.nMarketInfo[1]);  // SZ has no codes

    const struct {
        const char *szUser, *szPassword, *szText;
    } kRefused[] = {{"alice", "Secret", "unknown user or wrong password"},
                    {"mallory", "secret", "unknown user or wrong password"},
                    {"mallory", "nobody", "unknown user or wrong password"},
                    {"", "", "unknown user or wrong password"},
                    {"nobody", "secret", "no markets are open to this user"}};
    for (const auto& row : kRefused) {
        SCOPED_TRACE(row.szUser);
        ServerClient client(*s_pServer);
        const auto refused = client.LogIn(row.szUser, row.szPassword).As<ZPMDefine_LoginAnswer>();
        EXPECT_NE(1, +refused.nResult);
        EXPECT_EQ(0, +refused.nMarkets);
        EXPECT_STREQ(row.szText, refused.szInfo);
        // The connection may try again, but not for ever.
        client.LogIn("x", "y");
        client.LogIn("x", "y");
        EXPECT_TRUE(client.IsClosedByServer());
    }
}

TEST_F(ServeTest, CodeTableHasGbkNamesCutAtACharacter) {
    const auto pClient = LoggedIn();
    const auto items = pClient->Codes("SH");
    ASSERT_EQ(3U, items.size());
    std::string strSixteen;
    for (int i = 0; i < 16; ++i) strSixteen += "\xB9\xF3";
    EXPECT_STREQ("000001", items[0].chCode);
    EXPECT_EQ(strSixteen, std::string(items[0].chName, 32));
    EXPECT_EQ(0, +items[0].nType);
    EXPECT_EQ(std::string("a").append(strSixteen, 2).append(1, '\0'),
              std::string(items[1].chName, 32));
    EXPECT_EQ(16, +items[1].nType);
    EXPECT_STREQ("\xB0\xD7\xD4\xC6", items[2].chName);
    EXPECT_EQ(17, +items[2].nType);
    // A market that is not open to the user looks like one without codes.
    for (const char* szMarket : {"CF", "SZ", "XX"}) {
        EXPECT_TRUE(pClient->Codes(szMarket).empty()) << szMarket;
    }
}

TEST_F(ServeTest, TicksHaveAllTheirValuesInEveryForm) {
    using Four = std::array<int32_t, 4>;
    using Five = std::array<int32_t, 5>;
    using Ten = std::array<int32_t, 10>;
    using Longs = std::array<int64_t, 2>;
    const std::string strDate = Bytes(20240108);
    std::string strBase = Bytes(ZPMDefine_TickData{93000000, -5000, 300, 30091234, 7, 8, 'T', 'B'});
    std::string strSums = Bytes(Longs{600, 60141234});
    std::string strLevels = Bytes(Ten{100300}) + Bytes(Ten{55}) +
                            Bytes(Ten{0, 0, 0, 0, 0, 0, 0, 0, 0, 98700}) +
                            Bytes(Ten{0, 0, 0, 0, 0, 0, 0, 0, 0, 66}) + Bytes(100400) +
                            Bytes(98600) + Bytes(Longs{777, 888});
    std::string strDay = Bytes(Four{100100, 100500, -10000, 99900});
    std::string strIndex = Bytes(Five{1, 0, 2});
    auto request = kDay;
    ExpectLast<ZPMDefine_Tick_Night>(110, request, 1048, 3,
                                     strDate + strBase + strSums + strDay + strIndex);
    ExpectLast<ZPMDefine_TickData_ACC_EX>(107, request, 1043, 3, strBase + strSums + strDay);
    request.nFlags = 3;
    ExpectLast<ZPMDefine_Tick_AB_Night>(
        110, request, 1048, 3, strDate + strBase + strSums + strLevels + strDay + strIndex);
    ExpectLast<ZPMDefine_TickData_AB_ACC_EX>(107, request, 1044, 3,
                                             strBase + strSums + strLevels + strDay);
    // An index has no levels, though its file had some.
    request = TickRequest("000001.SH", 20240108, 3);
    strBase = Bytes(ZPMDefine_TickData{93003000, 30012345, 7, 700000000, 5, 6, 'T', 'S'});
    strSums = Bytes(Longs{7, 700000000});
    strLevels.assign(strLevels.size(), '\0');
    strDay = Bytes(Four{30000000, 30020000, 29990000, 29900000});
    strIndex = Bytes(Five{41, 0, 42});
    ExpectLast<ZPMDefine_Tick_AB_Night>(
        110, request, 1048, 1, strDate + strBase + strSums + strLevels + strDay + strIndex);
    ExpectLast<ZPMDefine_TickData_Index_ACC_EX>(
        107, request, 1045, 1, strBase.substr(0, 28) + strIndex + strSums + strDay);
}

// Codes are found whatever their letter case is. Day forms have no date: the heads tell the
// calendar day of each packet.
TEST_F(ServeTest, ATradingDayComesWithTheNightBefore) {
    const std::vector<int> kDates{20240105, 20240106, 20240108};
    const auto request = TickRequest("600000.sh", 20240108, 2);
    std::vector<int> vecDates, vecHeads;
    for (const auto& tick :
         LoggedIn()->Fetch<ZPMDefine_Tick_Night>(ID_ZPMTELE_REQ_TICK_NIGHT, request)) {
        vecDates.push_back(+tick.nDate);
    }
    EXPECT_EQ(kDates, vecDates);
    std::vector<Message> vecMessages;
    LoggedIn()->Fetch<ZPMDefine_TickData_ACC_EX>(ID_ZPMTELE_REQ_TICK, request, &vecMessages);
    for (const auto& message : vecMessages) {
        vecHeads.push_back(+message.As<ZPMDefine_TickData_Head>().nDate);
    }
    EXPECT_EQ(kDates, vecHeads);
}

TEST_F(ServeTest, NoDataIsOneEmptyLastPacket) {
    const auto pClient = LoggedIn();
    const struct {
        const char* szSecurity;
        int nDate;
    } kNothing[] = {{"600000.SH", 20240105}, {"600000.SH", 20240230},    {"600000.SH", 0},
                    {"600000.SH", -7},       {"999999.SH", 20240108},    {"600000.XX", 20240108},
                    {"IF2401.CF", 20240108}, {"12345678.SHFX", 20240108}};
    for (const auto& [szSecurity, nDate] : kNothing) {
        SCOPED_TRACE(szSecurity + (" " + std::to_string(nDate)));
        const auto message = pClient->Ask(110, Bytes(TickRequest(szSecurity, nDate, 3)), 1048);
        EXPECT_EQ(40, message.head.nDataLen);
        EXPECT_EQ(0, +message.As<ZPMDefine_TickData_Head>().nItems);
        EXPECT_NE(0, +message.As<ZPMDefine_TickData_Head>().nLastPacket);
        for (const auto& [nKind, nType] : {std::pair(0, 1038), {1, 1037}, {2, 1039}}) {
            const auto none =
                pClient->Ask(111, Bytes(SaveRequest(szSecurity, nDate, nKind)), nType);
            EXPECT_EQ(44, none.head.nDataLen);
            EXPECT_NE(0, +none.As<ZPMDefine_SaveData_Head>().nLastPacket);
        }
    }
    // An empty code has no bars and no snapshots either.
    for (const auto& [nType, nBody, nAnswer, nLen] : {std::tuple(101, 72, 1010, 52),
                                                      {117, 84, 1012, 64},
                                                      {112, 24, 1049, 20},
                                                      {113, 24, 1050, 20},
                                                      {114, 32, 1049, 20},
                                                      {115, 32, 1050, 20}}) {
        const std::string strBody(static_cast<size_t>(nBody), '\0');
        EXPECT_EQ(nLen, pClient->Ask(nType, strBody, nAnswer).head.nDataLen) << nType;
    }
}

TEST_F(ServeTest, ALargeDayComesInBoundedPacketsInOrder) {
    std::vector<Message> vecMessages;
    const auto trades = LoggedIn()->Fetch<ZPMDefine_Transaction_v2>(
        ID_ZPMTELE_REQ_SAVEDATA, SaveRequest("600000.SH", 20240109, 0), &vecMessages);
    EXPECT_GT(vecMessages.size(), 10U);
    for (const auto& message : vecMessages) {
        EXPECT_GT(+message.As<ZPMDefine_SaveData_Head>().nItems, 0);
    }
    ASSERT_EQ(static_cast<size_t>(kTrades), trades.size());
    for (int i = 0; i < kTrades; ++i) {
        const auto& trade = trades[static_cast<size_t>(i)];
        ASSERT_EQ((1000 + i % 997) * 10000 + 100, +trade.nTradeValue[0]);
        ASSERT_EQ(i, +trade.nTradeValue[1]);
        ASSERT_EQ(i + 1, +trade.nIndex);
        ASSERT_EQ('B', +trade.chFlag3);
    }
}

TEST_F(ServeTest, AMalformedRequestEndsItsConnectionOnly) {
    const auto pWitness = LoggedIn();
    // A head that announces nLen bytes, and no body.
    const auto head = [](int nType, int nLen) {
        return Bytes(
            ZPMDefine_MessageHead{PROTOCAL_NUMBER, static_cast<int16_t>(nType), nLen, {}, 1});
    };
    const struct {
        const char* szWhat;
        bool bLogIn;
        std::string strBytes;
    } kCases[] = {
        {"request before login", false, Packet(116, 1, std::string(8, '\0'))},
        {"other protocol", false, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"},
        {"wrong flags", true, Packet(116, 1, std::string(8, '\0'), 0)},
        {"negative length", true, head(116, -1)},
        {"no body", true, head(110, 0)},
        {"huge length", true, head(110, 1500001)},
        {"short for its type", true, Packet(110, 1, std::string(39, '\0'))},
        {"long for its type", true, Packet(111, 1, std::string(49, '\0'))},
        {"unknown type", true, Packet(118, 1, std::string(40, '\0'))},
        {"second login", true, Packet(1, 1, std::string(88, '\0'))},
        {"unknown kind", true, Packet(111, 1, Bytes(SaveRequest("600000.SH", 20240108, 3)))},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.szWhat);
        ServerClient client(*s_pServer);
        if (row.bLogIn) client.LogIn("alice", "secret");
        client.SendBytes(row.strBytes);
        EXPECT_TRUE(client.IsClosedByServer());
        ExpectAlive(*pWitness);
    }
    EXPECT_NE(std::string::npos, s_pServer->Log().find("unknown request type 118"));
    EXPECT_NE(std::string::npos, s_pServer->Log().find("request before login"));
    EXPECT_TRUE(s_pServer->IsRunning());
}

// Requests byte by byte, and several at once.
TEST_F(ServeTest, RequestsMayArriveInAnyPieces) {
    const auto pClient = LoggedIn();
    const std::string strRequest = Packet(110, 11, Bytes(kDay));
    for (const char c : strRequest) pClient->SendBytes(std::string(1, c));
    EXPECT_EQ(11, pClient->ReceiveAnswer<ZPMDefine_TickData_Head>()[0].head.nRequestID);
    pClient->SendBytes(strRequest + strRequest + strRequest);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(3U, pClient->ReceiveAnswer<ZPMDefine_TickData_Head>().size());
    }
}

int ResidentKilobytes(pid_t nPid) {
    std::ifstream status("/proc/" + std::to_string(nPid) + "/status");
    for (std::string strLine; std::getline(status, strLine);) {
        if (strLine.rfind("VmRSS:", 0) == 0) return std::stoi(strLine.substr(6));
    }
    return 0;
}

// Each of these answers has some nine megabytes and nobody reads them.
TEST_F(ServeTest, ClientsThatNeverReadCostAPacketEachAndAreClosed) {
    const auto pWitness = LoggedIn();
    const int nBefore = ResidentKilobytes(s_pServer->Pid());
    std::vector<std::unique_ptr<ServerClient>> vecSilent;
    for (int i = 0; i < 16; ++i) {
        vecSilent.push_back(LoggedIn());
        for (int k = 0; k < 3; ++k) {
            vecSilent.back()->Send(ID_ZPMTELE_REQ_SAVEDATA, 6,
                                   Bytes(SaveRequest("600000.SH", 20240109, 0)));
        }
    }
    ExpectAlive(*pWitness);
    sleep(1);
    // (Sanitizers keep what is freed.)
    if (!kSanitized) EXPECT_LT(ResidentKilobytes(s_pServer->Pid()) - nBefore, 40 * 1024);
    sleep(3);  // the server was told to wait two seconds
    EXPECT_NE(std::string::npos, s_pServer->Log().find("nothing moved in time"));
}

}  // namespace
}  // namespace qrx::test
