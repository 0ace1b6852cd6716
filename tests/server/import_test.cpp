// Imports: what files may look like, what they become, and how they are refused. The days are read
// back through a server, as a client would.
#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include <array>
#include <thread>

#include "cli/terminal.h"
#include "server/test_store.h"

namespace qrx::test {
namespace {

class ImportTest : public StoreTest {
protected:
    void SetUp() override {
        AddUser("alice", "SH,SHF");
        Import("codes", "code,type\n600000.SH,stock\n000001.SH,index\nru1901.SHF,future\n");
    }
    auto Ticks(int nDay) {
        return Fetch<ZPMDefine_Tick_AB_Night>(ID_ZPMTELE_REQ_TICK_NIGHT,
                                              TickRequest("600000.SH", nDay, 3));
    }
    template <class Record>
    auto Saved(int nDay, int nKind) {
        return Fetch<Record>(ID_ZPMTELE_REQ_SAVEDATA, SaveRequest("600000.SH", nDay, nKind));
    }
};

TEST_F(ImportTest, RefusalsNameTheLineAndLeaveNothingBehind) {
    const std::string strGood = "date,time,code,price,volume\n20240102,93000000,600000.SH,1,10\n";
    Import("ticks", strGood);
    const struct {
        const char *szRow, *szText;
        std::vector<std::string> vecOptions = {};
    } kRows[] = {
        {"20240103,93000000,600000.SH,1x,10", "3: bad value \"1x\" in column price"},
        {"20240103,93000000,600000.SH,1,-10", "3: value -10 in column volume is negative"},
        {"20240103,93000000,600000.SH,214748.3648,1",
         "3: value 214748.3648 in column price is too"},
        {"20240103,93000000,600000.SH,1,72057594037927936",  // 2^56
         "3: value 72057594037927936 in column volume is too"},
        {"20240230,93000000,600000.SH,1,10", "3: bad date"},
        {"2024-1-32,93000000,600000.SH,1,10", "3: bad date"},
        {"20240103,93060000,600000.SH,1,10", "3: bad time"},
        {"20240103,24:00:00,600000.SH,1,10", "3: bad time"},
        {"20240103,9:3o,600000.SH,1,10", "3: bad time"},
        {"20240103,93000000,600009.SH,1,10", "3: 600009.SH is in no code table"},
        {"20240103,93000000,600000,1,10", "3: no market is given"},
        {"20240103,93000000,600000.SH,1", "3: 4 fields where at least 5"},
        // The day before it is not stored, either.
        {"20240103,93500000,600000.SH,2,9\n20240103,93600000,600000.SH,2,8",
         "4: the volume or turnover",
         {"--volume", "cumulative"}},
        // Of two rows whose order is that of time: the one that came with the file.
        {"20240102,92500000,600000.SH,1,11",
         "3: the volume or turnover of the day falls",
         {"--append", "--volume", "cumulative"}},
        {"20240103,93000000,600000.SH,1,40000000000000000\n"  // together 2^56 and more
         "20240103,93100000,600000.SH,1,40000000000000000",
         "4: the volume or turnover of the day is too large"},
    };
    for (const auto& row : kRows) {
        // A good row before the bad one, of a day that would be replaced.
        ExpectRefused(TryImport("ticks",
                                "date,time,code,price,volume\n20240102,93500000,600000.SH,2,10\n" +
                                    std::string(row.szRow) + "\n",
                                row.vecOptions),
                      std::string("in.csv:") + row.szText);
    }
    const auto ticks = Ticks(20240102);
    ASSERT_EQ(1U, ticks.size());
    EXPECT_EQ(93000000, +ticks[0].nTime);
}

TEST_F(ImportTest, HeadersAndOptionsThatDoNotFitAreRefused) {
    const std::string strLong = "code,type\n1.SH," + std::string(100000, '!') + "\n";
    const struct {
        const char *szKind, *szText;
        std::vector<std::string> vecOptions;
        const char* szExpected;
    } kCases[] = {
        {"ticks", "", {}, ":1: the file is empty"},
        {"ticks", "date,time,price\n", {}, ":1: there is no column \"code\""},
        {"ticks", "date,code,price\n", {}, ":1: there is no column \"time\""},
        {"ticks", "date,time,code\n", {}, ":1: there is no column \"price\""},
        {"ticks",
         "date,time,millisecond,code,price\n20240102,93000000,1000,600000.SH,1\n",
         {},
         ":2: bad millisecond \"1000\""},
        {"orders", "date,time,code,price,volume\n", {}, ":1: there is no column \"side\""},
        {"ticks", "date,time,code,price\n", {"--map", "Last=price"}, "no column \"Last\""},
        {"ticks", "date,time,code,Last\n", {"--map", "Last=cost"}, "\"cost\" is no column"},
        {"ticks", "date,time,code,Last\n", {"--map", "Last=cost"}, " ask_volume10 bid_price1 "},
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
        {"codes", "code,type\n1.SH,\033[2J\n", {}, ":2: unknown type \"\\x1B[2J\""},
        {"codes",
         strLong.c_str(),
         {},
         "...!!!!!!!!!!!!!!!!!!!!!!!!!\"; nothing of this file is imported"},
    };
    for (const auto& row : kCases) {
        ExpectRefused(TryImport(row.szKind, row.szText, row.vecOptions), row.szExpected);
    }
    ExpectRefused(Command({"import", "ticks", m_folder.Path("none.csv")}),
                  "none.csv: cannot be read");
}

// Other names, numbered columns from 0, units, a byte order mark, quotes, CRLF, newest rows first,
// a last line without its end, and values that feeds write where they have none.
TEST_F(ImportTest, FilesOfOtherPeopleAreRead) {
    Import("ticks",
           "\xEF\xBB\xBF<When>, \"Last\",Vol,Money,Ask[0].P,Ask[1].P,Ask[0].Q,Extra\r\n"
           "\"2024.01.02T09:30:03.25\",10.015,5,0.07,N/A,10.0300000001,1.7e308,\"a,\"\"b\"\r\n"
           "\"2024.1.2 9:30:00\", 1.00100009999999999999e1,2,0.02,10.02,,3,\r\n"
           "\"2024.1.2 9:30:00\",9.99995,,nan,10.02,-,4,",
           {"--map", "When=datetime,Last=price,Vol=volume,Money=turnover,Ask[*].P=ask_price*",
            "--map", "Ask[*].Q=ask_volume*", "--set", "market=sh,code=600000", "--volume-unit",
            "100", "--turnover-unit", "1000"});
    // Turnovers in 1/10000 of a unit; the file's last row comes first.
    std::vector<std::array<int64_t, 9>> vecGot;
    for (const auto& t : Ticks(20240102)) {
        vecGot.push_back({t.nTime, t.nPrice, t.iVolume, t.iAccVolume, t.iTurnover, t.iAccTurnover,
                          t.nBook1[0], t.nBook1[1], t.nBook2[0]});
    }
    const std::vector<std::array<int64_t, 9>> kWant = {
        {93000000, 100000, 0, 0, 0, 0, 100200, 0, 400},
        {93000000, 100100, 200, 200, 200000, 200000, 100200, 0, 300},
        {93003250, 100150, 500, 700, 700000, 900000, 0, 100300, 0}};
    EXPECT_EQ(vecGot, kWant);
}

TEST_F(ImportTest, TradesOrdersAndQueuesFillTheirFields) {
    Import("trades",
           "code,date,TransactTime,price,volume,index,bid_order,ask_order,side,function\n"
           "600000.SH,20240102,9250080,1808080,100000,6524,130762,116376,78,0\n"
           "600000.SH,20240102,9333705,0,200000,6525,130800,0,,C\n",
           {"--map", "TransactTime=time", "--time", "hhmmsscc", "--decimals", "3", "--volume-unit",
            "0.001"});
    ExpectRecords<ZPMDefine_Transaction_v2>(
        Saved<ZPMDefine_Transaction_v2>(20240102, 0),
        {{92500800, 6524, '0', 0, 'N', {18080800, 100, 116376}, 130762},
         {93337050, 6525, 'C', 0, 0, {0, 200, 0}, 130800}});

    Import("orders",
           "code,date,time,price,volume,order,kind,side\n"
           "600000.SH,20240102,91500000,10.5,100,30,65,66\n"
           "600000.SH,20240102,91500010,10.6,200,31,D,S\n");
    ExpectRecords<ZPMDefine_Order_v2>(
        Saved<ZPMDefine_Order_v2>(20240102, 2),
        {{91500000, 30, 1, 'A', 'B', 105000, 100}, {91500010, 31, 2, 'D', 'S', 106000, 200}});

    // Both sides in one row make two records; a side without price and orders makes none.
    Import("queues",
           "code,date,time,bid_price,bid_orders,bid_item1,bid_item2,ask_price,ask_orders,"
           "ask_item1\n"
           "600000.SH,20240102,93000000,10.5,2,100,200,10.6,70,300\n"
           "600000.SH,20240102,93003000,10.5,2,100,200,0,0,0\n");
    ExpectRecords<ZPMDefine_OrderQueue>(Saved<ZPMDefine_OrderQueue>(20240102, 1),
                                        {{93000000, {105000, 'B', 2, 2}, {100, 200}},
                                         {93000000, {106000, 'S', 70, 1}, {300}},
                                         {93003000, {105000, 'B', 2, 2}, {100, 200}}});
}

// Friday's night belongs to Monday, or to the day that the file has next; both ways of dating.
TEST_F(ImportTest, NightsBelongToTheTradingDayThatFollows) {
    const struct {
        const char *szNight, *szRows;
        int nDay;
        const char* szDates;
    } kCases[] = {
        {"calendar", "20240105,21:00\n20240106,1:00\n20240108,9:00\n", 20240108,
         "20240105 20240106 20240108 "},
        {"calendar", "20240105,21:00\n20240106,1:00\n", 20240108, "20240105 20240106 "},
        {"calendar", "20240207,21:00\n20240208,0:10\n20240219,9:00\n", 20240219,  // a holiday
         "20240207 20240208 20240219 "},
        {"trading", "20240108,21:00\n20240108,1:00\n20240108,9:00\n", 20240108,
         "20240105 20240106 20240108 "},
        {"trading", "20240108,9:00\n20240109,21:00\n", 20240109, "20240108 "},
        {"trading", "20240301,0:10\n", 20240301, "20240301 "},
        {"trading", "20240207,9:00\n20240219,21:00\n20240219,9:00\n", 20240219,  // a holiday
         "20240207 20240219 "},
        {"none", "20240105,21:00\n", 20240105, "20240105 "},
    };
    for (const auto& row : kCases) {
        Import("trades", std::string("date,time\n") + row.szRows,
               {"--set", "code=600000,market=SH,price=1,volume=1", "--night", row.szNight});
        const auto trades = Saved<ZPMDefine_Transaction_v2>(row.nDay, 0);
        EXPECT_EQ(m_vecMessages.size(), trades.size()) << row.szRows;
        std::string strDates;  // trades carry no date, the heads do
        for (const auto& message : m_vecMessages) {
            strDates += std::to_string(message.As<ZPMDefine_SaveData_Head>().nDate) + " ";
        }
        EXPECT_EQ(row.szDates, strDates) << row.szNight << "\n" << row.szRows;
    }
}

// A feed writes a file per calendar day: a trading day is put together from two of them, in
// whatever order they come, and volumes are those of the whole day.
TEST_F(ImportTest, FilesOfOneCommandAreJoinedToTradingDays) {
    const std::string strHeader =
        "code,trading_day,date,time,millisecond,price,volume,prev_settle,prev_close,"
        "prev_open_interest,settle,open_interest,side,open,high,low,delta\n";
    const std::string strNight = m_folder.Write(
        "night.csv", strHeader +
                         "ru1901.SHF,20181015,20181012,21:00:00,500,12000,10,11900,11800,"
                         "70,,80,B,1,2,3,-0.5\n");
    const std::string strDay = m_folder.Write(
        "day.csv",
        strHeader +
            "ru1901.SHF,20181015,20181015,09:00:00,500,12010,16,11900,11800,70,0,,,,,,\n"
            "RU1901.shf,20181015,20181015,15:00:00,000,12020,20,11900,11800,70,12005,,,,,,\n");
    const std::vector<std::vector<std::string>> kRuns{
        {strDay, strNight}, {strDay, strNight}, {strDay}, {"--append", strNight}};
    for (const auto& vecFiles : kRuns) {
        std::vector<std::string> vecCommand{"import", "snapshots", "--volume", "cumulative"};
        vecCommand.insert(vecCommand.end(), vecFiles.begin(), vecFiles.end());
        Must(vecCommand);
        if (vecFiles.size() == 1) continue;  // its night is yet to come
        SCOPED_TRACE(vecFiles.front());
        ExpectRecords<ZPMDefine_Future_Night>(
            Fetch<ZPMDefine_Future_Night>(ID_ZPMTELE_REQ_FUTURE,
                                          FutureRequest("RU1901.shf", 20181015)),
            {{20181012, 210000500, 120000000, 10, 0, 80, 'B', 10000, 20000, 30000, 0, -5000},
             {20181015, 90000500, 120100000, 6, 0, 0, 0, 0, 0, 0, 0, 0},
             {20181015, 150000000, 120200000, 4, 0, 0, 0, 0, 0, 0, 120050000, 0}});
        const auto head = m_vecMessages.back().As<ZPMDefine_Future_Head>();
        EXPECT_EQ(119000000, +head.nDayRef1);
        EXPECT_EQ(118000000, +head.nDayRef2);
        EXPECT_EQ(70, +head.nDayRef3);
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
        return Command({"import", "trades", strPath});
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
        ExpectRefused(import(fault.szPrice, fault.nBytes), fault.szText);
    }
}

// A pipe of two parts, with a wait between them that is longer than the one before the first bar.
TEST_F(ImportTest, ATerminalShowsHowFarAnImportIs) {
    constexpr int kRows = 8192;  // every 4096th may draw
    std::string strText = "code,date,time,type,factor,price,volume,open,high,low,close\n";
    for (int i = 0; i < kRows; ++i) {
        const int nDate = (1990 + i / 336) * 10000 + (i / 28 % 12 + 1) * 100 + i % 28 + 1;
        strText += "600000.SH," + std::to_string(nDate) + ",09:00:00,stock,1,1,1,1,1,1,1\n";
    }
    constexpr size_t kFirstPart = 100000;  // more than a pipe holds, less than 4096 rows
    const Cli cli{1};
    const std::string strPipe = m_folder.Path("pipe");
    ASSERT_EQ(0, mkfifo(strPipe.c_str(), 0600));
    for (const auto& [strKind, bWriting] : {std::pair<std::string, bool>{"codes", false},
                                            {"adjust", false},
                                            {"trades", true},
                                            {"bars", true}}) {
        SCOPED_TRACE(strKind);
        std::vector<std::string> vecWords{
            QRX_BUILD_DIR "/qrx-server", "import", strKind, strPipe, "--db", m_strDb};
        if (strKind == "bars") vecWords.insert(vecWords.end(), {"--cycle", "day"});
        // With a reader of its own the test waits for none, even if the command goes.
        const int fd = open(strPipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        Terminal terminal(vecWords, cli);
        std::thread writer([&] {
            std::ofstream pipe(strPipe, std::ios::binary);
            pipe << strText.substr(0, kFirstPart) << std::flush;
            usleep(200000);
            pipe << strText.substr(kFirstPart);
        });
        const std::string strScreen = terminal.Type("");
        char bytes[4096];
        while (read(fd, bytes, sizeof bytes) != 0) continue;
        writer.join();
        close(fd);
        EXPECT_EQ(0, terminal.Wait());
        const std::string strLine = "\r\033[K" + strPipe;
        const size_t nBar = strScreen.find(strLine + " [");
        const size_t nWriting = strScreen.find(strLine + ": writing security 1 of 1");
        EXPECT_NE(std::string::npos, nBar) << strScreen;
        EXPECT_NE(std::string::npos, strScreen.find(" rows", nBar)) << strScreen;
        EXPECT_EQ(bWriting, nWriting != std::string::npos && nWriting > nBar) << strScreen;
        // Nothing of it stays.
        EXPECT_NE(std::string::npos, strScreen.find(strLine + ": 8192 rows, 8192 records"))
            << strScreen;
    }
}

TEST_F(ImportTest, GbkNamesAndReplacedCodes) {
    Import("codes", "code,type,name\n600000.SH,stock,\xC6\xD6\xB7\xA2\n600001.SH,17,\"a\"\"b\"\n",
           {"--encoding", "gbk"});
    const ServerProcess server(m_folder, m_strDb);
    const auto items = ServerClient(server, "alice").Codes("SH");
    ASSERT_EQ(3U, items.size());
    EXPECT_STREQ("600000", items[0].chCode);  // stays where it was
    EXPECT_STREQ("\xC6\xD6\xB7\xA2", items[0].chName);
    EXPECT_STREQ("000001", items[1].chCode);
    EXPECT_STREQ("600001", items[2].chCode);
    EXPECT_STREQ("a\"b", items[2].chName);
}

}  // namespace
}  // namespace qrx::test
