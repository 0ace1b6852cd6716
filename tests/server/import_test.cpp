// Imports: what files may look like, what they become, and how they are refused. The days are read
// back through a server, as a client would.
#include <sys/stat.h>
#include <zlib.h>

#include "server/server_client.h"

namespace qrx::test {
namespace {

class ImportTest : public testing::Test {
protected:
    void SetUp() override {
        if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
        m_strDb = m_folder.Path("store.db");
        const std::string strPassword = m_folder.Write("password", "secret\n");
        Must({"init", "--db", m_strDb});
        Must({"user", "add", "alice", "--markets", "SH,SHF", "--password-file", strPassword, "--db",
              m_strDb});
        Must({"import", "codes", "--db", m_strDb,
              m_folder.Write("codes.csv",
                             "code,type\n600000.SH,stock\n000001.SH,index\nru1901.SHF,future\n")});
    }
    static void Must(const std::vector<std::string>& vecArguments) {
        const auto result = RunServerCommand(vecArguments);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    CommandResult Import(const std::string& strKind, const std::string& strText,
                         std::vector<std::string> vecOptions = {}) {
        std::vector<std::string> vec{"import", strKind, "--db", m_strDb,
                                     m_folder.Write("in.csv", strText)};
        vec.insert(vec.end(), vecOptions.begin(), vecOptions.end());
        return RunServerCommand(vec);
    }
    void MustImport(const std::string& strKind, const std::string& strText,
                    const std::vector<std::string>& vecOptions = {}) {
        const auto result = Import(strKind, strText, vecOptions);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    // Starts a server on what is imported so far, and asks it.
    template <class Head, class Record, class Request>
    std::vector<Record> Fetch(int nType, const Request& request) {
        const ServerProcess server(m_folder, m_strDb);
        ServerClient client(server);
        client.LogIn("alice", "secret");
        client.SendBody(nType, 1, request);
        m_vecMessages = client.ReceiveAnswer<Head>();
        return DecodeAnswer<Head, Record>(m_vecMessages);
    }
    auto Ticks(const char* szCode, int nDay) {
        return Fetch<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night>(
            ID_ZPMTELE_REQ_TICK_NIGHT, TickRequest(szCode, "SH", nDay, 3));
    }
    template <class Record>
    auto Saved(int nDay, int nKind, const char* szCode = "600000", const char* szMarket = "SH") {
        return Fetch<ZPMDefine_SaveData_Head, Record>(ID_ZPMTELE_REQ_SAVEDATA,
                                                      SaveRequest(szCode, szMarket, nDay, nKind));
    }
    auto Snapshots(int nDay) {
        ZPMDefine_RequestFuture request{
            {'r', 'u', '1', '9', '0', '1'}, {'S', 'H', 'F'}, nDay, 0, -1};
        return Fetch<ZPMDefine_Future_Head, ZPMDefine_Future_AB_Night>(ID_ZPMTELE_REQ_FUTURE_AB,
                                                                       request);
    }

    ScratchFolder m_folder;
    std::string m_strDb;
    std::vector<Message> m_vecMessages;
};

TEST_F(ImportTest, RefusalsNameTheLineAndLeaveNothingBehind) {
    const std::string strGood = "date,time,code,price,volume\n20240102,93000000,600000.SH,1,10\n";
    MustImport("ticks", strGood);
    const struct {
        const char *szRow, *szText;
    } kRows[] = {
        {"20240103,93000000,600000.SH,1x,10", "3: bad value \"1x\" in column price"},
        {"20240103,93000000,600000.SH,1,-10", "3: value -10 in column volume is negative"},
        {"20240103,93000000,600000.SH,214748.3648,1",
         "3: value 214748.3648 in column price is too"},
        {"20240230,93000000,600000.SH,1,10", "3: bad date"},
        {"2024-1-32,93000000,600000.SH,1,10", "3: bad date"},
        {"20240103,93060000,600000.SH,1,10", "3: bad time"},
        {"20240103,24:00:00,600000.SH,1,10", "3: bad time"},
        {"20240103,9:3o,600000.SH,1,10", "3: bad time"},
        {"20240103,93000000,600009.SH,1,10", "3: 600009.SH is in no code table"},
        {"20240103,93000000,600000,1,10", "3: no market is given"},
        {"20240103,93000000,600000.SH,1", "3: 4 fields where at least 5"},
    };
    for (const auto& row : kRows) {
        // A good row before the bad one, of a day that would be replaced.
        const auto result = Import("ticks",
                                   "date,time,code,price,volume\n"
                                   "20240102,93500000,600000.SH,2,10\n" +
                                       std::string(row.szRow) + "\n");
        EXPECT_EQ(1, result.nExit);
        EXPECT_NE(std::string::npos, result.strOutput.find(std::string("in.csv:") + row.szText))
            << row.szRow << " gave " << result.strOutput;
    }
    const auto result = Import("ticks",
                               "date,time,code,price,volume\n"
                               "20240102,93500000,600000.SH,2,10\n\n"
                               "20240102,93600000,600000.SH,2,9\n",
                               {"--volume", "cumulative"});
    EXPECT_NE(std::string::npos, result.strOutput.find("in.csv:4: the volume or turnover"))
        << result.strOutput;
    const auto ticks = Ticks("600000", 20240102);
    ASSERT_EQ(1U, ticks.size());
    EXPECT_EQ(93000000, +ticks[0].nTime);
}

TEST_F(ImportTest, HeadersAndOptionsThatDoNotFitAreRefused) {
    const struct {
        const char *szKind, *szText;
        std::vector<std::string> vecOptions;
        const char* szExpected;
    } kCases[] = {
        {"ticks", "", {}, ":1: the file is empty"},
        {"ticks", "date,time,price\n", {}, ":1: there is no column \"code\""},
        {"ticks", "date,code,price\n", {}, ":1: there is no column \"time\""},
        {"ticks", "date,time,code\n", {}, ":1: there is no column \"price\""},
        {"orders", "date,time,code,price,volume\n", {}, ":1: there is no column \"side\""},
        {"ticks", "date,time,code,price\n", {"--map", "Last=price"}, "no column \"Last\""},
        {"ticks", "date,time,code,Last\n", {"--map", "Last=cost"}, "\"cost\" is no column"},
        {"ticks", "date,time,code,price\n", {"--map", "Last"}, "\"Last\" is not name=name"},
        {"ticks", "date,time,code,price\n", {"--volume-unit", "3"}, "power of ten"},
        {"ticks", "date,time,code,price\n", {"--encoding", "klingon"}, "unknown text encoding"},
        {"codes", "code,type,name\n1.SH,stock,\xFF\n", {}, ":2: the name is not utf-8"},
        {"codes", "code,type\n1.SH,share\n", {}, ":2: unknown type \"share\""},
        {"codes", "code,type\n1.SHANG,stock\n", {}, ":2: market SHANG has more than 4"},
        {"codes", "code,type\n12345678901234567.SH,stock\n", {}, ":2: code"},
        {"codes", "code,type\n浦.SH,stock\n", {}, ":2: code \"浦.SH\" has other characters"},
        {"adjust", "date,code,factor\n20240102,600009.SH,2\n", {}, ":2: 600009.SH is in no code"},
        {"adjust",
         "date,code,factor\n20240102,RU1901.SHF,2\n2024-01-03,ru1901.SHF,3\n"
         "2024-01-02,ru1901.SHF,3\n",
         {},
         ":4: the file has a factor of this date twice"},
        {"codes", "code,type\n1.SH,\033[2J\n", {}, ":2: unknown type \"?[2J\""},
    };
    for (const auto& row : kCases) {
        const auto result = Import(row.szKind, row.szText, row.vecOptions);
        EXPECT_NE(0, result.nExit);
        EXPECT_NE(std::string::npos, result.strOutput.find(row.szExpected))
            << row.szExpected << " is not in: " << result.strOutput;
    }
    const auto missing =
        RunServerCommand({"import", "ticks", "--db", m_strDb, m_folder.Path("none.csv")});
    EXPECT_NE(std::string::npos, missing.strOutput.find("none.csv: cannot be read"));
}

// Other names, numbered columns from 0, units, a byte order mark, quotes, CRLF, newest rows first,
// a last line without its end, and values that feeds write where they have none.
TEST_F(ImportTest, FilesOfOtherPeopleAreRead) {
    MustImport("ticks",
               "\xEF\xBB\xBF<When>, \"Last\",Vol,Money,Ask[0].P,Ask[1].P,Ask[0].Q,Extra\r\n"
               "\"2024.01.02T09:30:03.5\",10.015,5,0.07,N/A,10.0300000001,1.7e308,\"a,\"\"b\"\r\n"
               "\"2024.1.2 9:30:00\", 1.00100009999999999999e1,2,0.02,10.02,,3,\r\n"
               "\"2024.1.2 9:30:00\",9.99995,,nan,10.02,-,4,",
               {"--map", "When=datetime,Last=price,Vol=volume,Money=turnover,Ask[*].P=ask_price*",
                "--map", "Ask[*].Q=ask_volume*", "--set", "market=sh,code=600000", "--volume-unit",
                "100", "--turnover-unit", "1000"});
    const auto ticks = Ticks("600000", 20240102);
    ASSERT_EQ(3U, ticks.size());
    EXPECT_EQ(93000000, +ticks[0].nTime);
    EXPECT_EQ(100000, +ticks[0].nPrice);  // the file's last row comes first
    EXPECT_EQ(0, +ticks[0].iAccVolume);
    EXPECT_EQ(100100, +ticks[1].nPrice);
    EXPECT_EQ(93003500, +ticks[2].nTime);
    EXPECT_EQ(100150, +ticks[2].nPrice);
    EXPECT_EQ(500, +ticks[2].iVolume);
    EXPECT_EQ(700, +ticks[2].iAccVolume);
    EXPECT_EQ(700000, +ticks[2].iTurnover);  // 0.07 thousand, in 1/10000
    EXPECT_EQ(900000, +ticks[2].iAccTurnover);
    EXPECT_EQ(0, +ticks[2].nBook1[0]);
    EXPECT_EQ(100300, +ticks[2].nBook1[1]);
    EXPECT_EQ(0, +ticks[2].nBook2[0]);
}

TEST_F(ImportTest, TradesOrdersAndQueuesFillTheirFields) {
    MustImport("trades",
               "code,date,TransactTime,price,volume,index,bid_order,ask_order,side,function\n"
               "600000.SH,20240102,9250080,1808080,100000,6524,130762,116376,78,0\n"
               "600000.SH,20240102,9333705,0,200000,6525,130800,0,,C\n",
               {"--map", "TransactTime=time", "--time", "hhmmsscc", "--decimals", "3",
                "--volume-unit", "0.001"});
    const auto trades = Saved<ZPMDefine_Transaction_v2>(20240102, 0);
    ASSERT_EQ(2U, trades.size());
    const ZPMDefine_Transaction_v2 first{92500800, 6524, '0', 0, 'N', {18080800, 100, 116376},
                                         130762};
    EXPECT_EQ(0, memcmp(&first, &trades[0], sizeof first));
    const ZPMDefine_Transaction_v2 second{93337050, 6525, 'C', 0, 0, {0, 200, 0}, 130800};
    EXPECT_EQ(0, memcmp(&second, &trades[1], sizeof second));

    MustImport("orders",
               "code,date,time,price,volume,order,kind,side\n"
               "600000.SH,20240102,91500000,10.5,100,30,65,66\n"
               "600000.SH,20240102,91500010,10.6,200,31,D,S\n");
    const auto orders = Saved<ZPMDefine_Order_v2>(20240102, 2);
    ASSERT_EQ(2U, orders.size());
    const ZPMDefine_Order_v2 third{91500000, 30, 1, 'A', 'B', 105000, 100};
    EXPECT_EQ(0, memcmp(&third, &orders[0], sizeof third));
    const ZPMDefine_Order_v2 fourth{91500010, 31, 2, 'D', 'S', 106000, 200};
    EXPECT_EQ(0, memcmp(&fourth, &orders[1], sizeof fourth));

    // Both sides in one row make two records; a side without price and orders makes none.
    MustImport("queues",
               "code,date,time,bid_price,bid_orders,bid_item1,bid_item2,ask_price,ask_orders,"
               "ask_item1\n"
               "600000.SH,20240102,93000000,10.5,2,100,200,10.6,70,300\n"
               "600000.SH,20240102,93003000,10.5,2,100,200,0,0,0\n");
    const auto queues = Saved<ZPMDefine_OrderQueue>(20240102, 1);
    ASSERT_EQ(3U, queues.size());
    const ZPMDefine_OrderQueue bid{93000000, {105000, 'B', 2, 2}, {100, 200}};
    const ZPMDefine_OrderQueue ask{93000000, {106000, 'S', 70, 1}, {300}};
    EXPECT_EQ(0, memcmp(&bid, &queues[0], sizeof bid));
    EXPECT_EQ(0, memcmp(&ask, &queues[1], sizeof ask));
    EXPECT_EQ(93003000, +queues[2].nTime);
}

// Friday's night belongs to Monday, or to the day that the file has next; both ways of dating.
TEST_F(ImportTest, NightsBelongToTheTradingDayThatFollows) {
    const struct {
        const char *szWhat, *szNight, *szRows;
        int nDay;
        std::vector<int> vecDates;
    } kCases[] = {
        {"weekend, calendar",
         "calendar",
         "20240105,210000000\n20240106,010000000\n20240108,90000000\n",
         20240108,
         {20240105, 20240106, 20240108}},
        {"weekend, no day row",
         "calendar",
         "20240105,210000000\n20240106,010000000\n",
         20240108,
         {20240105, 20240106}},
        {"holiday, calendar",
         "calendar",
         "20240207,210000000\n20240208,10000\n20240219,90000000\n",
         20240219,
         {20240207, 20240208, 20240219}},
        {"weekend, trading",
         "trading",
         "20240108,210000000\n20240108,010000000\n20240108,90000000\n",
         20240108,
         {20240105, 20240106, 20240108}},
        {"weekday, trading",
         "trading",
         "20240108,90000000\n20240109,210000000\n",
         20240109,
         {20240108}},
        {"month's end, trading", "trading", "20240301,10000\n", 20240301, {20240301}},
        {"no nights", "none", "20240105,210000000\n", 20240105, {20240105}},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.szWhat);
        MustImport("trades", std::string("date,time\n") + row.szRows,
                   {"--set", "code=600000,market=SH,price=1,volume=1", "--night", row.szNight});
        EXPECT_EQ(row.vecDates.size(), Saved<ZPMDefine_Transaction_v2>(row.nDay, 0).size());
        std::vector<int> vecDates;  // trades carry no date, the heads do
        for (const auto& message : m_vecMessages) {
            vecDates.push_back(+message.As<ZPMDefine_SaveData_Head>().nDate);
        }
        EXPECT_EQ(row.vecDates, vecDates);
    }
}

// A feed writes a file per calendar day: a trading day is put together from two of them, in
// whatever order they come, and volumes are those of the whole day.
TEST_F(ImportTest, FilesOfOneCommandAreJoinedToTradingDays) {
    const std::string strHeader =
        "code,trading_day,date,time,millisecond,price,volume,prev_settle,settle\n";
    const std::string strNight = m_folder.Write(
        "night.csv", strHeader + "ru1901.SHF,20181015,20181012,21:00:00,500,12000,10,11900,\n");
    const std::string strDay = m_folder.Write(
        "day.csv", strHeader + "ru1901.SHF,20181015,20181015,09:00:00,500,12010,16,11900,0\n" +
                       "ru1901.SHF,20181015,20181015,15:00:00,000,12020,20,11900,12005\n");
    const std::vector<std::string> vecBase{"import", "snapshots", "--db",
                                           m_strDb,  "--volume",  "cumulative"};
    auto vecOnce = vecBase;
    vecOnce.insert(vecOnce.end(), {strDay, strNight});
    auto vecFirst = vecBase, vecThen = vecBase;
    vecFirst.push_back(strDay);
    vecThen.insert(vecThen.end(), {"--append", strNight});
    const std::vector<std::vector<std::vector<std::string>>> kWays{
        {vecOnce}, {vecOnce}, {vecFirst, vecThen}};
    for (const auto& vecRuns : kWays) {
        for (const auto& vecRun : vecRuns) Must(vecRun);
        const auto snapshots = Snapshots(20181015);
        ASSERT_EQ(3U, snapshots.size());
        EXPECT_EQ(20181012, +snapshots[0].nDate);
        EXPECT_EQ(210000500, +snapshots[0].nTime);
        EXPECT_EQ(10, +snapshots[0].iVolume);
        EXPECT_EQ(6, +snapshots[1].iVolume);
        EXPECT_EQ(4, +snapshots[2].iVolume);
        EXPECT_EQ(120050000, +snapshots[2].nSettle);
        EXPECT_EQ(119000000, +m_vecMessages.back().As<ZPMDefine_Future_Head>().nDayRef1);
    }
}

// Files of several blocks, which are parsed at the same time, compressed and not.
TEST_F(ImportTest, LongFilesKeepTheirOrderAndAreRefusedAtTheirFirstFault) {
    constexpr int kRows = 100000;
    const auto volume = [](int i) { return i * 7919 % 10007; };
    const std::string strPath = m_folder.Path("t.csv.gz");
    // Two rows are of another price; the file ends early when nBytes says so.
    const auto import = [&](const char* szPrice, off_t nBytes) {
        std::string strText = "code,date,time,price,volume\n";
        for (int i = 0; i < kRows; ++i) {
            strText += std::string("600000.SH,20240102,93000000,") +
                       (i == 60000 || i == 90000 ? szPrice : "1") + "," +
                       std::to_string(volume(i)) + "\n";
        }
        gzFile file = gzopen(strPath.c_str(), nBytes == 0 ? "wbT" : "wb");  // T: as it is
        gzwrite(file, strText.data(), static_cast<unsigned>(strText.size()));
        gzclose(file);
        if (nBytes > 0) EXPECT_EQ(0, truncate(strPath.c_str(), nBytes));
        return RunServerCommand({"import", "trades", "--db", m_strDb, strPath});
    };
    for (const off_t nBytes : {0, -1}) {
        const auto result = import("2", nBytes);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
        const auto trades = Saved<ZPMDefine_Transaction_v2>(20240102, 0);
        ASSERT_EQ(size_t{kRows}, trades.size());
        for (int i = 0; i < kRows; ++i) {
            ASSERT_EQ(volume(i), +trades[static_cast<size_t>(i)].nTradeValue[1]) << i;
        }
    }
    struct stat info {};
    ASSERT_EQ(0, stat(strPath.c_str(), &info));
    const struct {
        const char* szPrice;
        off_t nBytes;
        const char* szText;
    } kFaults[] = {
        {"x", 0, ":60002: bad value \"x\""},
        {"x", info.st_size - 10, ":60002: bad value \"x\""},  // the end is missing, too
        {"2", info.st_size - 10, ": the file is damaged"},
        {"2", 5000, ": the file is damaged"},
    };
    for (const auto& fault : kFaults) {
        const auto result = import(fault.szPrice, fault.nBytes);
        EXPECT_EQ(1, result.nExit);
        EXPECT_NE(std::string::npos, result.strOutput.find(fault.szText)) << result.strOutput;
    }
}

TEST_F(ImportTest, GbkNamesAndReplacedCodes) {
    MustImport("codes", "code,type,name\n600000.SH,stock,\xC6\xD6\xB7\xA2\n600001.SH,17,\xBA\xAA\n",
               {"--encoding", "gbk"});
    const ServerProcess server(m_folder, m_strDb);
    ServerClient client(server);
    client.LogIn("alice", "secret");
    client.Send(ID_ZPMTELE_REQ_CODETABLE, 0, std::string("SH\0\0\0\0\0\0", 8));
    const auto message = client.Receive();
    ASSERT_TRUE(message);
    ASSERT_EQ(3, +message->As<ZPMDefine_CodeTable_Head>().nTotalItems);
    ZPMDefine_CodeTable_Item items[3];
    memcpy(items, message->strBody.data() + 12, sizeof items);
    EXPECT_STREQ("600000", items[0].chCode);  // stays where it was
    EXPECT_STREQ("\xC6\xD6\xB7\xA2", items[0].chName);
    EXPECT_STREQ("000001", items[1].chCode);
    EXPECT_STREQ("600001", items[2].chCode);
}

}  // namespace
}  // namespace qrx::test
