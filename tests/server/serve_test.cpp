// What a client sees of a qrx-server that really runs: login, code tables, days of data, and what
// becomes of connections that misbehave.
#include <fstream>
#include <memory>
#include <sstream>

#include "server/server_client.h"

namespace qrx::test {
namespace {

// Rows of a night that belongs to Monday 20240108, and of that Monday; levels on the last.
constexpr const char* kTicks =
    "code,market,date,time,price,volume,turnover,open,ask_price1,ask_volume1,bid_price10,"
    "index_up\n"
    "600000,SH,20240105,210000000,10.01,100,1001,10.01,0,0,0,0\n"
    "600000,SH,20240106,003000500,10.02,200,2004,10.01,0,0,0,0\n"
    "600000,SH,20240108,093000000,-0.5,300,3009.1234,10.01,10.03,55,9.87,0\n"
    "000001,SH,20240108,093003000,3001.2345,7,70000,3000,1,2,3,41\n";

class ServeTest : public testing::Test {
protected:
    // One store and one server for all; tests only read.
    static void SetUpTestSuite() {
        if (!HaveServer()) return;
        s_pFolder = std::make_unique<ScratchFolder>();
        const std::string strDb = Db();
        Must({"init", "--db", strDb});
        const std::string strPassword = s_pFolder->Write("password", "secret\n");
        Must({"user", "add", "alice", "--markets", "sh,SZ", "--password-file", strPassword, "--db",
              strDb});
        Must({"user", "add", "nobody", "--password-file", strPassword, "--db", strDb});
        std::string strNames = "code,market,name,type\n000001,SH,";
        for (int i = 0; i < 17; ++i) strNames += "贵";
        strNames += ",index\n600000,SH,a";
        for (int i = 0; i < 16; ++i) strNames += "贵";
        strNames += ",stock\n600004,SH,白云,17\n";
        strNames += "IF2401,CF,期货,future\n";
        Must({"import", "codes", "--db", strDb, s_pFolder->Write("codes.csv", strNames)});
        Must({"import", "ticks", "--db", strDb, s_pFolder->Write("ticks.csv", kTicks)});
        std::ofstream trades(s_pFolder->Path("trades.csv"));
        trades << "code,market,date,time,price,volume,side\n";
        for (int i = 0; i < kTrades; ++i) {
            trades << "600000,SH,20240109,93000000," << 1000 + i % 997 << ".01," << i << ",B\n";
        }
        trades.close();
        Must({"import", "trades", "--db", strDb, s_pFolder->Path("trades.csv")});
        s_pServer = std::make_unique<ServerProcess>(*s_pFolder, strDb,
                                                    std::vector<std::string>{"--stall", "2"});
    }
    static void TearDownTestSuite() {
        if (s_pServer) {
            EXPECT_EQ(0, s_pServer->Stop());
        }
        s_pServer.reset();
        s_pFolder.reset();
    }
    void SetUp() override {
        if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
        ASSERT_TRUE(s_pServer && s_pServer->IsRunning());
    }

    static std::string Db() { return s_pFolder->Path("store.db"); }
    static void Must(const std::vector<std::string>& vecArguments) {
        const auto result = RunServerCommand(vecArguments);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    static std::unique_ptr<ServerClient> LoggedIn() {
        auto pClient = std::make_unique<ServerClient>(*s_pServer);
        EXPECT_EQ(1, pClient->LogIn("alice", "secret").As<ZPMDefine_LoginAnswer>().nResult);
        return pClient;
    }

    static constexpr int kTrades = 400000;
    static inline std::unique_ptr<ScratchFolder> s_pFolder;
    static inline std::unique_ptr<ServerProcess> s_pServer;
};

TEST_F(ServeTest, LoginIsAcceptedWithMarketsOrRefusedWithAText) {
    ServerClient good(*s_pServer);
    const Message message = good.LogIn("alice", "secret");
    const auto answer = message.As<ZPMDefine_LoginAnswer>();
    EXPECT_EQ(PROTOCAL_NUMBER, message.head.sFlags);
    EXPECT_EQ(2, message.head.sDataType);
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
                    {"", "", "unknown user or wrong password"},
                    {"nobody", "secret", "no markets are open to this user"}};
    for (const auto& row : kRefused) {
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
    pClient->Send(ID_ZPMTELE_REQ_CODETABLE, 0, std::string("SH\0\0\0\0\0\0", 8));
    const auto message = pClient->Receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(1001, message->head.sDataType);
    EXPECT_EQ(PROTOCAL_NUMBER, message->head.sFlags);
    const auto head = message->As<ZPMDefine_CodeTable_Head>();
    ASSERT_EQ(3, +head.nTotalItems);
    EXPECT_EQ(52, +head.nItemSize);
    ASSERT_EQ(12U + 3 * 52, message->strBody.size());
    ZPMDefine_CodeTable_Item items[3];
    memcpy(items, message->strBody.data() + 12, sizeof items);
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
    for (const std::string strMarket : {"CF", "SZ", "XX"}) {
        pClient->Send(ID_ZPMTELE_REQ_CODETABLE, 5, (strMarket + std::string(8, '\0')).substr(0, 8));
        const auto none = pClient->Receive();
        ASSERT_TRUE(none);
        EXPECT_EQ(12, none->head.nDataLen);
        EXPECT_EQ(0, +none->As<ZPMDefine_CodeTable_Head>().nTotalItems);
        EXPECT_EQ(5, none->head.nRequestID);
    }
}

TEST_F(ServeTest, ATradingDayComesWithTheNightBeforeInBothTickForms) {
    const auto pClient = LoggedIn();
    pClient->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 77, TickRequest("600000", "SH", 20240108, 3));
    const auto vecLevels = pClient->ReceiveAnswer<ZPMDefine_TickData_Head>();
    for (const auto& message : vecLevels) {
        EXPECT_EQ(1048, message.head.sDataType);
        EXPECT_EQ(77, message.head.nRequestID);
    }
    const auto head = vecLevels.back().As<ZPMDefine_TickData_Head>();
    EXPECT_EQ("600000", std::string(head.chCode, 6));
    EXPECT_EQ("SH", std::string(head.chMarket));
    EXPECT_EQ(20240108, +head.nDate);
    const auto ticks = DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night>(vecLevels);
    ASSERT_EQ(3U, ticks.size());
    EXPECT_EQ(20240105, +ticks[0].nDate);
    EXPECT_EQ(210000000, +ticks[0].nTime);
    EXPECT_EQ(20240106, +ticks[1].nDate);
    EXPECT_EQ(3000500, +ticks[1].nTime);
    EXPECT_EQ(20240108, +ticks[2].nDate);
    EXPECT_EQ(100100, +ticks[0].nPrice);
    EXPECT_EQ(-5000, +ticks[2].nPrice);
    EXPECT_EQ(300, +ticks[2].iVolume);
    EXPECT_EQ(600, +ticks[2].iAccVolume);
    EXPECT_EQ(30091234, +ticks[2].iTurnover);
    EXPECT_EQ(60141234, +ticks[2].iAccTurnover);
    EXPECT_EQ(100100, +ticks[2].nExt[0]);
    EXPECT_EQ(100300, +ticks[2].nBook1[0]);
    EXPECT_EQ(55, +ticks[2].nBook2[0]);
    EXPECT_EQ(98700, +ticks[2].nBook3[9]);

    pClient->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 78, TickRequest("600000", "SH", 20240108, 2));
    const auto plain = DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(
        pClient->ReceiveAnswer<ZPMDefine_TickData_Head>());
    ASSERT_EQ(3U, plain.size());
    EXPECT_EQ(20240106, +plain[1].nDate);
    EXPECT_EQ(100200, +plain[1].nPrice);
    EXPECT_EQ(60141234, +plain[2].iAccTurnover);

    // The codes of a request are found whatever their letter case is; nights have no day of their
    // own.
    pClient->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 79, TickRequest("600000", "sh", 20240108, 2));
    EXPECT_EQ(3U, (DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(
                       pClient->ReceiveAnswer<ZPMDefine_TickData_Head>()))
                      .size());
}

TEST_F(ServeTest, DayFormsOfTicksCarryTheSameValuesInTheirOwnOrder) {
    const auto pClient = LoggedIn();
    pClient->SendBody(ID_ZPMTELE_REQ_TICK, 1, TickRequest("600000", "SH", 20240108, 3));
    const auto vecLevels = pClient->ReceiveAnswer<ZPMDefine_TickData_Head>();
    EXPECT_EQ(1044, vecLevels[0].head.sDataType);
    const auto levels =
        DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_TickData_AB_ACC_EX>(vecLevels);
    ASSERT_EQ(3U, levels.size());
    EXPECT_EQ(100300, +levels[2].nBook1[0]);
    EXPECT_EQ(55, +levels[2].nBook2[0]);
    EXPECT_EQ(98700, +levels[2].nBook3[9]);
    EXPECT_EQ(100100, +levels[2].nExt[0]);
    // These records have no date: the heads tell the calendar day of each packet.
    EXPECT_EQ(20240105, +vecLevels.front().As<ZPMDefine_TickData_Head>().nDate);
    EXPECT_EQ(20240108, +vecLevels.back().As<ZPMDefine_TickData_Head>().nDate);

    pClient->SendBody(ID_ZPMTELE_REQ_TICK, 2, TickRequest("600000", "SH", 20240108, 2));
    const auto vecPlain = pClient->ReceiveAnswer<ZPMDefine_TickData_Head>();
    EXPECT_EQ(1043, vecPlain[0].head.sDataType);
    const auto plain = DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_TickData_ACC_EX>(vecPlain);
    ASSERT_EQ(3U, plain.size());
    EXPECT_EQ(60141234, +plain[2].iAccTurnover);

    pClient->SendBody(ID_ZPMTELE_REQ_TICK, 3, TickRequest("000001", "SH", 20240108, 3));
    const auto vecIndex = pClient->ReceiveAnswer<ZPMDefine_TickData_Head>();
    EXPECT_EQ(1045, vecIndex[0].head.sDataType);
    const auto index =
        DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_TickData_Index_ACC_EX>(vecIndex);
    ASSERT_EQ(1U, index.size());
    EXPECT_EQ(30012345, +index[0].nPrice);
    EXPECT_EQ(41, +index[0].nIndexField[0]);
    EXPECT_EQ(30000000, +index[0].nExt[0]);

    // An index asked for with levels has none, though its file had some.
    pClient->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 4, TickRequest("000001", "SH", 20240108, 3));
    const auto night = DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night>(
        pClient->ReceiveAnswer<ZPMDefine_TickData_Head>());
    ASSERT_EQ(1U, night.size());
    EXPECT_EQ(0, +night[0].nBook1[0]);
    EXPECT_EQ(0, +night[0].nBook2[0]);
    EXPECT_EQ(0, +night[0].nBook3[9]);
    EXPECT_EQ(41, +night[0].nIndexField[0]);
}

TEST_F(ServeTest, NoDataIsOneEmptyLastPacket) {
    const auto pClient = LoggedIn();
    const struct {
        const char *szCode, *szMarket;
        int nDate;
    } kNothing[] = {{"600000", "SH", 20240105}, {"600000", "SH", 20240230},
                    {"600000", "SH", 0},        {"600000", "SH", -7},
                    {"999999", "SH", 20240108}, {"600000", "XX", 20240108},
                    {"IF2401", "CF", 20240108}, {"12345678", "SHFX", 20240108}};
    for (const auto& row : kNothing) {
        pClient->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 9,
                          TickRequest(row.szCode, row.szMarket, row.nDate, 3));
        const auto message = pClient->Receive();
        ASSERT_TRUE(message);
        EXPECT_EQ(1048, message->head.sDataType);
        EXPECT_EQ(40, message->head.nDataLen);
        EXPECT_EQ(0, +message->As<ZPMDefine_TickData_Head>().nItems);
        EXPECT_NE(0, +message->As<ZPMDefine_TickData_Head>().nLastPacket);
        for (const auto& [nKind, nType] : {std::pair(0, 1038), {1, 1037}, {2, 1039}}) {
            pClient->SendBody(ID_ZPMTELE_REQ_SAVEDATA, 9,
                              SaveRequest(row.szCode, row.szMarket, row.nDate, nKind));
            const auto none = pClient->Receive();
            ASSERT_TRUE(none);
            EXPECT_EQ(nType, none->head.sDataType);
            EXPECT_EQ(44, none->head.nDataLen);
            EXPECT_NE(0, +none->As<ZPMDefine_SaveData_Head>().nLastPacket);
        }
    }
    // An empty code has no bars and no snapshots either.
    for (const auto& [nType, nBody, nAnswer, nLen] : {std::tuple(101, 72, 1010, 52),
                                                      {117, 84, 1012, 64},
                                                      {112, 24, 1049, 20},
                                                      {113, 24, 1050, 20},
                                                      {114, 32, 1049, 20},
                                                      {115, 32, 1050, 20}}) {
        pClient->Send(nType, 9, std::string(static_cast<size_t>(nBody), '\0'));
        const auto none = pClient->Receive();
        ASSERT_TRUE(none);
        EXPECT_EQ(nAnswer, none->head.sDataType);
        EXPECT_EQ(nLen, none->head.nDataLen);
    }
}

TEST_F(ServeTest, ALargeDayComesInBoundedPacketsInOrder) {
    const auto pClient = LoggedIn();
    pClient->SendBody(ID_ZPMTELE_REQ_SAVEDATA, 6, SaveRequest("600000", "SH", 20240109, 0));
    const auto vecMessages = pClient->ReceiveAnswer<ZPMDefine_SaveData_Head>();
    EXPECT_GT(vecMessages.size(), 10U);
    for (const auto& message : vecMessages) {
        EXPECT_LE(message.strBody.size() + 20, 256U * 1024);
        EXPECT_GT(+message.As<ZPMDefine_SaveData_Head>().nItems, 0);
    }
    const auto trades =
        DecodeAnswer<ZPMDefine_SaveData_Head, ZPMDefine_Transaction_v2>(vecMessages);
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
    const auto message = [](uint16_t nFlags, int nType, int nLen, size_t nBody) {
        ZPMDefine_MessageHead head{nFlags, static_cast<int16_t>(nType), nLen, {}, 1};
        return std::string(reinterpret_cast<const char*>(&head), sizeof head) +
               std::string(nBody, '\0');
    };
    auto badKind = SaveRequest("600000", "SH", 20240108, 3);
    const struct {
        const char* szWhat;
        bool bLogIn;
        std::string strBytes;
    } kCases[] = {
        {"request before login", false, message(PROTOCAL_NUMBER, 116, 8, 8)},
        {"other protocol", false, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"},
        {"wrong flags", true, message(0, 116, 8, 8)},
        {"negative length", true, message(PROTOCAL_NUMBER, 116, -1, 0)},
        {"no body", true, message(PROTOCAL_NUMBER, 110, 0, 0)},
        {"huge length", true, message(PROTOCAL_NUMBER, 110, 1500001, 0)},
        {"short for its type", true, message(PROTOCAL_NUMBER, 110, 39, 39)},
        {"long for its type", true, message(PROTOCAL_NUMBER, 111, 49, 49)},
        {"unknown type", true, message(PROTOCAL_NUMBER, 118, 40, 40)},
        {"second login", true, message(PROTOCAL_NUMBER, 1, 88, 88)},
        {"unknown kind", true,
         message(PROTOCAL_NUMBER, 111, 48, 0) +
             std::string(reinterpret_cast<const char*>(&badKind), sizeof badKind)},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.szWhat);
        ServerClient client(*s_pServer);
        if (row.bLogIn) client.LogIn("alice", "secret");
        client.SendBytes(row.strBytes);
        EXPECT_TRUE(client.IsClosedByServer());
        pWitness->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 3, TickRequest("600000", "SH", 20240108, 2));
        EXPECT_EQ(3U, (DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(
                           pWitness->ReceiveAnswer<ZPMDefine_TickData_Head>()))
                          .size());
    }
    EXPECT_NE(std::string::npos, s_pServer->Log().find("unknown request type 118"));
    EXPECT_NE(std::string::npos, s_pServer->Log().find("request before login"));
    EXPECT_TRUE(s_pServer->IsRunning());
}

// Requests byte by byte, and several at once.
TEST_F(ServeTest, RequestsMayArriveInAnyPieces) {
    const auto pClient = LoggedIn();
    ZPMDefine_MessageHead head{PROTOCAL_NUMBER, 110, 40, {}, 11};
    const auto body = TickRequest("600000", "SH", 20240108, 2);
    std::string strRequest(reinterpret_cast<const char*>(&head), sizeof head);
    strRequest.append(reinterpret_cast<const char*>(&body), sizeof body);
    for (const char c : strRequest) pClient->SendBytes(std::string(1, c));
    EXPECT_EQ(11, pClient->ReceiveAnswer<ZPMDefine_TickData_Head>()[0].head.nRequestID);
    pClient->SendBytes(strRequest + strRequest + strRequest);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(3U, (DecodeAnswer<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(
                           pClient->ReceiveAnswer<ZPMDefine_TickData_Head>()))
                          .size());
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
            vecSilent.back()->SendBody(ID_ZPMTELE_REQ_SAVEDATA, 6,
                                       SaveRequest("600000", "SH", 20240109, 0));
        }
    }
    pWitness->SendBody(ID_ZPMTELE_REQ_TICK_NIGHT, 3, TickRequest("600000", "SH", 20240108, 2));
    EXPECT_TRUE(pWitness->Receive());
    sleep(1);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // (Sanitizers keep what is freed.)
    EXPECT_LT(ResidentKilobytes(s_pServer->Pid()) - nBefore, 40 * 1024);
#else
    (void)nBefore;
#endif
    sleep(3);  // the server was told to wait two seconds
    EXPECT_NE(std::string::npos, s_pServer->Log().find("nothing moved in time"));
}

}  // namespace
}  // namespace qrx::test
