// Bars: imported, aggregated to every cycle on the grid of their session, adjusted, and served.
// Expected values are worked by hand from the rows above them.
#include "server/server_client.h"

namespace qrx::test {
namespace {

enum : int {
    kMinutes = 0,
    kQuarters = 4,
    kHalfYears = 5,
    kYears = 6,
    kDays = 7,
    kWeeks = 8,
    kMonths = 9,
    kSeconds = 11
};

class BarsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
        m_strDb = m_folder.Path("store.db");
        Must({"init"});
        Must({"user", "add", "alice", "--markets", "SH,SHF,XX", "--password-file",
              m_folder.Write("password", "secret\n")});
        Must({"import", "codes",
              m_folder.Write("codes.csv",
                             "code,type\n600000.SH,stock\n000001.SH,index\nru1901.SHF,future\n"
                             "rb2401.SHF,future\nFREE.XX,stock\n10004405.SH,option\n"
                             "IF2401.CF,future\n")});
    }
    void Must(std::vector<std::string> vecArguments) {
        vecArguments.insert(vecArguments.end(), {"--db", m_strDb});
        const auto result = RunServerCommand(vecArguments);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    void Import(const std::string& strKind, const std::string& strText,
                const std::vector<std::string>& vecOptions = {}) {
        std::vector<std::string> vec{"import", strKind, m_folder.Write("in.csv", strText)};
        vec.insert(vec.end(), vecOptions.begin(), vecOptions.end());
        Must(vec);
    }
    template <class Record = ZPMDefine_KData>
    std::vector<Record> Bars(const char* szCode, const char* szMarket, int nCycle, int nMultiple,
                             int nBegin, int nEnd, int nMode = 0, int nModeDate = 0,
                             int nSwitch = 0) {
        ZPMDefine_RequestKData request{};
        memcpy(request.chCode, szCode, strnlen(szCode, 8));
        memcpy(request.chMarket, szMarket, strnlen(szMarket, 4));
        request.nModeFlag = nMode;
        request.nModeDate = nModeDate;
        request.nModeSwitch = nSwitch;
        request.nCycType = nCycle;
        request.nCycDef = nMultiple;
        request.nBeginDate = nBegin;
        request.nEndDate = nEnd;
        const ServerProcess server(m_folder, m_strDb);
        ServerClient client(server);
        client.LogIn("alice", "secret");
        client.SendBody(ID_ZPMTELE_REQ_KDATA, 1, request);
        const auto vec = client.ReceiveAnswer<ZPMDefine_KData_Head>();
        if (!vec.empty()) m_nType = vec[0].head.sDataType;
        return DecodeAnswer<ZPMDefine_KData_Head, Record>(vec);
    }
    // "date time open high low close volume" of each bar, prices in units of the currency.
    static std::string Text(const std::vector<ZPMDefine_KData>& vecBars) {
        std::string str;
        for (const auto& bar : vecBars) {
            str.append(std::to_string(bar.nDate)).append(" ").append(std::to_string(bar.nTime));
            for (const int n : {bar.nOpen, bar.nHigh, bar.nLow, bar.nClose}) {
                str.append(" ").append(std::to_string(n / 10000));
            }
            str.append(" ").append(std::to_string(bar.iVolume)).append("\n");
        }
        return str;
    }

    ScratchFolder m_folder;
    std::string m_strDb;
    int m_nType = 0;
};

constexpr const char* kMinuteHeader = "code,date,time,open,high,low,close,volume\n";

TEST_F(BarsTest, MinutesAreJoinedOnTheGridOfTheirSession) {
    Import("bars", std::string(kMinuteHeader) +
                       "600000.SH,20240102,093000,10,12,9,11,100\n"
                       "600000.SH,20240102,093400,11,13,11,12,200\n"
                       "600000.SH,20240102,093600,12,12,8,8,300\n"
                       "600000.SH,20240102,112900,8,8,8,8,1\n"
                       "600000.SH,20240102,113000,8,9,8,9,2\n"  // the grid ends before it
                       "600000.SH,20240102,130100,9,9,9,9,400\n"
                       "600000.SH,20240103,143000,7,7,7,7,500\n");
    EXPECT_EQ(
        "20240102 93000 10 12 9 11 100\n20240102 93400 11 13 11 12 200\n"
        "20240102 93600 12 12 8 8 300\n20240102 112900 8 9 8 9 3\n"
        "20240102 130100 9 9 9 9 400\n20240103 143000 7 7 7 7 500\n",
        Text(Bars("600000", "SH", kMinutes, 1, 20240102, 20240103)));
    EXPECT_EQ(1010, m_nType);
    EXPECT_EQ(
        "20240102 93000 10 13 9 12 300\n20240102 93500 12 12 8 8 300\n"
        "20240102 112500 8 9 8 9 3\n20240102 130000 9 9 9 9 400\n",
        Text(Bars("600000", "SH", kMinutes, 5, 20240102, 20240102)));
    // Seven minutes: 09:30, 09:37, ... 11:29; the afternoon begins anew at 13:00.
    EXPECT_EQ(
        "20240102 93000 10 13 8 8 600\n20240102 112900 8 9 8 9 3\n"
        "20240102 130000 9 9 9 9 400\n20240103 142400 7 7 7 7 500\n",
        Text(Bars("600000", "SH", kMinutes, 7, 20240101, 20240105)));
    EXPECT_EQ("", Text(Bars("600000", "SH", kMinutes, 5, 20240104, 20240105)));
}

// Two hours of night are 17 times seven minutes and one: 22:59 runs over the end by six minutes,
// so the day begins at 09:06, and what was traded before belongs to the night's last bar.
TEST_F(BarsTest, ANightRunsOverIntoItsDay) {
    Import("bars", std::string(kMinuteHeader) +
                       "ru1901.SHF,20180928,210500,10,10,10,10,1\n"
                       "ru1901.SHF,20180928,225900,11,11,11,11,2\n"
                       "ru1901.SHF,20181001,090000,12,12,12,12,4\n"
                       "ru1901.SHF,20181001,090600,13,13,13,13,8\n"
                       "ru1901.SHF,20181001,093100,14,14,14,14,16\n");
    EXPECT_EQ(
        "20180928 210000 10 10 10 10 1\n20180928 225900 11 12 11 12 6\n"
        "20181001 90600 13 13 13 13 8\n20181001 92700 14 14 14 14 16\n",
        Text(Bars("ru1901", "SHF", kMinutes, 7, 20181001, 20181001)));
    // Nights before the product had any are nothing but early.
    Import("bars", std::string(kMinuteHeader) +
                       "ru1901.SHF,20140103,210500,10,10,10,10,1\n"
                       "ru1901.SHF,20140106,090100,11,11,11,11,2\n");
    EXPECT_EQ("20140106 90000 10 11 10 11 3\n",
              Text(Bars("ru1901", "SHF", kMinutes, 5, 20140106, 20140106)));
}

TEST_F(BarsTest, MarketsWithoutAGridCountFromMidnight) {
    Import("bars", std::string(kMinuteHeader) +
                       "FREE.XX,20240102,093400,1,1,1,1,1\nFREE.XX,20240102,093700,2,2,2,2,2\n"
                       "FREE.XX,20240106,093700,3,3,3,3,4\n");  // a Saturday
    EXPECT_EQ("20240102 93000 1 1 1 1 1\n20240102 93500 2 2 2 2 2\n20240106 93500 3 3 3 3 4\n",
              Text(Bars("FREE", "XX", kMinutes, 5, 20240101, 20240131)));
}

TEST_F(BarsTest, SecondsComeFromTicks) {
    Import("ticks",
           "code,date,time,price,volume,trades\n"
           "600000.SH,20240102,92500000,10,100,3\n"
           "600000.SH,20240102,93003000,11,0,3\n"  // nothing traded
           "600000.SH,20240102,93006000,12,200,5\n"
           "600000.SH,20240102,93029000,9,300,6\n"
           "600000.SH,20240102,93030000,8,400,10\n");
    const auto bars = Bars("600000", "SH", kSeconds, 30, 20240102, 20240102);
    EXPECT_EQ("20240102 93000 10 12 9 9 600\n20240102 93030 8 8 8 8 400\n", Text(bars));
    ASSERT_EQ(2U, bars.size());
    EXPECT_EQ(6, +bars[0].nMatchItems);
    EXPECT_EQ(4, +bars[1].nMatchItems);
}

TEST_F(BarsTest, LongCyclesAreDatedByTheirLastDay) {
    const std::string strHeader = "code,date,open,high,low,close,volume\n";
    const auto result = RunServerCommand(
        {"import", "bars", "--db", m_strDb, "--cycle", "day",
         m_folder.Write("in.csv", strHeader + "600000.SH,2023-12-28,1,2,1,2,1\n"
                                              "600000.SH,2023-12-29,2,3,2,3,2\n")});
    EXPECT_NE(std::string::npos, result.strOutput.find(": 2 rows, 2 records, 2 days\n"))
        << result.strOutput;
    Import("bars",
           strHeader +
               "600000.SH,2024-07-01,9,9,9,9,64\n600000.SH,2024-04-01,8,8,8,8,32\n"
               "600000.SH,2024-01-02,3,6,3,5,4\n"
               "600000.SH,2024-01-05,5,5,4,4,8\n600000.SH,2024-01-08,4,7,4,7,16\n",
           {"--cycle", "day"});
    const struct {
        int nCycle, nMultiple;
        const char* szBars;
    } kCases[] = {
        {kDays, 1,
         "20231228 0 1 2 1 2 1\n20231229 0 2 3 2 3 2\n20240102 0 3 6 3 5 4\n20240105 0 5 5 4 4 8\n"
         "20240108 0 4 7 4 7 16\n20240401 0 8 8 8 8 32\n20240701 0 9 9 9 9 64\n"},
        {kDays, 3, "20240102 0 1 6 1 5 7\n20240401 0 5 8 4 8 56\n20240701 0 9 9 9 9 64\n"},
        {kWeeks, 1,
         "20231229 0 1 3 1 3 3\n20240105 0 3 6 3 4 12\n20240108 0 4 7 4 7 16\n"
         "20240401 0 8 8 8 8 32\n20240701 0 9 9 9 9 64\n"},
        {kWeeks, 2, "20240105 0 1 6 1 4 15\n20240401 0 4 8 4 8 48\n20240701 0 9 9 9 9 64\n"},
        {kMonths, 1,
         "20231229 0 1 3 1 3 3\n20240108 0 3 7 3 7 28\n20240401 0 8 8 8 8 32\n"
         "20240701 0 9 9 9 9 64\n"},
        {kQuarters, 1,
         "20231229 0 1 3 1 3 3\n20240108 0 3 7 3 7 28\n20240401 0 8 8 8 8 32\n"
         "20240701 0 9 9 9 9 64\n"},
        {kHalfYears, 1, "20231229 0 1 3 1 3 3\n20240401 0 3 8 3 8 60\n20240701 0 9 9 9 9 64\n"},
        {kYears, 1, "20231229 0 1 3 1 3 3\n20240701 0 3 9 3 9 124\n"},
    };
    for (const auto& row : kCases) {
        EXPECT_EQ(row.szBars,
                  Text(Bars("600000", "SH", row.nCycle, row.nMultiple, 20230101, 20241231)))
            << row.nCycle << " x " << row.nMultiple;
    }
    EXPECT_EQ("20231229 0 2 3 2 3 2\n20240102 0 3 6 3 5 4\n",
              Text(Bars("600000", "SH", kDays, 1, 20231229, 20240104)));
    // A bar is whole wherever the range begins, and none ends before its own last day.
    EXPECT_EQ("20240105 0 3 6 3 4 12\n", Text(Bars("600000", "SH", kWeeks, 1, 20240103, 20240107)));
    EXPECT_EQ("20240401 0 4 8 4 8 48\n", Text(Bars("600000", "SH", kWeeks, 2, 20240401, 20240630)));
}

// Factors 2 from 2024-01-05 on and 4 from 2024-01-08 on.
TEST_F(BarsTest, PricesAreAdjustedBothWays) {
    Import("bars",
           "code,date,open,high,low,close,volume\n600000.SH,20240102,40,40,40,40,100\n"
           "600000.SH,20240105,20,20,20,20,100\n600000.SH,20240108,10,10,10,10,100\n",
           {"--cycle", "day"});
    // The last one is of a day that is not stored yet.
    Import("adjust",
           "code,date,factor\n600000.SH,20240105,2\n600000.SH,20240108,4.0\n"
           "600000.SH,20240109,8\nRU1901.SHF,20240108,2\n");  // the letter case of others
    const struct {
        int nMode, nModeDate, nSwitch;
        const char* szBars;
    } kCases[] = {{0, 0, 0, "40 100,20 100,10 100,"},        {1, 0, 0, "10 100,10 100,10 100,"},
                  {1, 20240106, 0, "20 100,20 100,20 100,"}, {2, 0, 0, "40 100,40 100,40 100,"},
                  {1, 0, 1, "10 400,10 200,10 100,"},        {2, 0, 1, "40 100,40 50,40 25,"}};
    for (const auto& row : kCases) {
        std::string str;
        for (const auto& bar : Bars("600000", "SH", kDays, 1, 20240101, 20240131, row.nMode,
                                    row.nModeDate, row.nSwitch)) {
            str += std::to_string(bar.nClose / 10000) + " " + std::to_string(bar.iVolume) + ",";
        }
        EXPECT_EQ(row.szBars, str) << row.nMode << " " << row.nModeDate << " " << row.nSwitch;
    }
    // Ticks reach one day and its factor further, and that is the last day of every cycle: of
    // daily bars 40 * 1/8, 20 * 2/8, 10 * 4/8, of a minute 40 * 4/8.
    Import("bars", std::string(kMinuteHeader) + "600000.SH,20240108,093000,40,40,40,40,1\n");
    Import("ticks", "code,date,time,price,volume\n600000.SH,20240109,93000000,40,1\n");
    EXPECT_EQ("20240102 0 5 5 5 5 100\n20240105 0 5 5 5 5 100\n20240108 0 5 5 5 5 100\n",
              Text(Bars("600000", "SH", kDays, 1, 20240101, 0, 1)));
    EXPECT_EQ("20240108 93000 20 20 20 20 1\n",
              Text(Bars("600000", "SH", kMinutes, 1, 20240101, 0, 1)));
    EXPECT_EQ("20240109 93000 40 40 40 40 1\n",
              Text(Bars("600000", "SH", kSeconds, 1, 20240101, 0, 1)));
    // A night has the factor of its trading day.
    Import("bars", std::string(kMinuteHeader) +
                       "ru1901.SHF,20240105,145900,10,10,10,10,4\n"
                       "ru1901.SHF,20240105,210000,10,10,10,10,4\n"
                       "ru1901.SHF,20240108,090000,10,10,10,10,4\n");
    EXPECT_EQ(
        "20240105 145900 10 10 10 10 4\n20240105 210000 20 20 20 20 2\n"
        "20240108 90000 20 20 20 20 2\n",
        Text(Bars("ru1901", "SHF", kMinutes, 1, 20240105, 0, 2, 0, 1)));
}

TEST_F(BarsTest, IndexesAndOptionsHaveTheirOwnForms) {
    Import("bars", std::string(kMinuteHeader) +
                       "000001.SH,20240102,093000,3000,3001,2999,3000.5,7\n"
                       "10004405.SH,20240102,093000,1,2,1,2,3\n");
    const auto index = Bars<ZPMDefine_KData_Index>("000001", "SH", kMinutes, 1, 20240102, 20240102);
    EXPECT_EQ(1011, m_nType);
    ASSERT_EQ(1U, index.size());
    EXPECT_EQ(30005000, +index[0].nClose);
    const ServerProcess server(m_folder, m_strDb);
    ServerClient client(server);
    client.LogIn("alice", "secret");
    ZPMDefine_RequestKData_Option request{};
    memcpy(request.chCode, "10004405", 8);
    memcpy(request.chMarket, "SH", 2);
    request.nCycDef = 1;
    request.nBeginDate = 20240102;
    request.nEndDate = -1;
    client.SendBody(ID_ZPMTELE_REQ_KDATA_OPTION, 1, request);
    const auto vec = client.ReceiveAnswer<ZPMDefine_KData_Option_Head>();
    ASSERT_EQ(1U, vec.size());
    EXPECT_EQ(1012, vec[0].head.sDataType);
    EXPECT_EQ("20240102 93000 1 2 1 2 3\n",
              Text(DecodeAnswer<ZPMDefine_KData_Option_Head, ZPMDefine_KData>(vec)));
    request.nCycType = 3;
    client.SendBody(ID_ZPMTELE_REQ_KDATA_OPTION, 1, request);
    EXPECT_TRUE(client.IsClosedByServer());
}

TEST_F(BarsTest, LabelsAuctionsAndSumsAreOptionsOfTheImport) {
    const std::string strRows = std::string(kMinuteHeader) +
                                "rb2401.SHF,20231010,00:00:00,14,14,14,14,90\n"  // of 23:59
                                "rb2401.SHF,20231009,21:02:00,13,13,13,13,70\n"  // newest first
                                "rb2401.SHF,20231009,21:01:00,12,12,11,11,40\n"
                                "rb2401.SHF,20231009,21:00:00,10,10,10,10,10\n";
    Import("bars", strRows, {"--label", "end", "--volume", "cumulative"});
    EXPECT_EQ(
        "20231009 210000 10 12 10 11 40\n20231009 210100 13 13 13 13 30\n"
        "20231009 235900 14 14 14 14 20\n",
        Text(Bars("rb2401", "SHF", kMinutes, 1, 20231010, 20231010)));
    const auto result =
        RunServerCommand({"import", "bars", "--db", m_strDb, m_folder.Write("in.csv", strRows),
                          "--label", "end", "--auction", "refuse"});
    EXPECT_EQ(1, result.nExit);
    EXPECT_NE(std::string::npos, result.strOutput.find(":5: a bar before its session"));
    // The sessions of rb are 21:00-01:00, 09:00-10:15, 10:30-11:30 and 13:30-15:00; of CF there is
    // 09:15-11:30 and 13:00-15:15.
    const struct {
        const char *szRow, *szLabel, *szRefusal;
    } kTimes[] = {
        {"rb2401.SHF,20231010,10:14:00", "begin", ""},
        {"rb2401.SHF,20231010,10:15:00", "begin",
         "10:15 on is outside the sessions of rb2401.SHF;"},
        {"rb2401.SHF,20231010,10:15:00", "end", ""},
        {"rb2401.SHF,20231010,10:20:00", "end", "10:19 on is outside the sessions of rb2401.SHF;"},
        {"rb2401.SHF,20231010,12:00:00", "begin", "12:00 on is outside"},
        {"rb2401.SHF,20231010,13:29:00", "begin", "13:29 on is outside"},
        {"rb2401.SHF,20231010,15:00:00", "begin", "its end? (--label end)"},
        {"rb2401.SHF,20231010,18:00:00", "begin", "18:00 on is outside"},
        {"rb2401.SHF,20231010,20:59:00", "begin", "a bar before its session"},
        {"rb2401.SHF,20231010,00:59:00", "begin", ""},
        {"rb2401.SHF,20231010,02:30:00", "begin", "02:30 on is outside"},
        {"IF2401.CF,20231010,09:29:00", "begin", ""},
        {"IF2401.CF,20231010,15:15:00", "begin", "15:15 on is outside"},
        {"FREE.XX,20231010,02:30:00", "begin", ""},
    };
    for (const auto& row : kTimes) {
        const std::string strFile =
            m_folder.Write("in.csv", std::string(kMinuteHeader) + row.szRow + ",1,1,1,1,1\n");
        const auto refused = RunServerCommand({"import", "bars", "--db", m_strDb, strFile,
                                               "--label", row.szLabel, "--auction", "refuse"});
        EXPECT_EQ(*row.szRefusal != '\0', refused.nExit != 0) << refused.strOutput;
        EXPECT_NE(std::string::npos, refused.strOutput.find(row.szRefusal)) << refused.strOutput;
        const auto kept =
            RunServerCommand({"import", "bars", "--db", m_strDb, strFile, "--label", row.szLabel});
        EXPECT_EQ(0, kept.nExit);
        EXPECT_EQ(*row.szRefusal != '\0' && *row.szRefusal != 'a',
                  kept.strOutput.find("part of the bars beside them: 1\n") != std::string::npos)
            << row.szRow << ": " << kept.strOutput;
    }
    // A night that is dated by its trading day keeps together over midnight.
    Import("bars",
           std::string(kMinuteHeader) +
               "rb2401.SHF,20231016,23:59:00,1,1,1,1,1\nrb2401.SHF,20231016,00:00:00,2,2,2,2,2\n"
               "rb2401.SHF,20231016,00:01:00,3,3,3,3,4\nrb2401.SHF,20231016,09:01:00,4,4,4,4,8\n",
           {"--label", "end", "--night", "trading"});
    EXPECT_EQ(
        "20231013 235800 1 1 1 1 1\n20231013 235900 2 2 2 2 2\n20231014 0 3 3 3 3 4\n"
        "20231016 90000 4 4 4 4 8\n",
        Text(Bars("rb2401", "SHF", kMinutes, 1, 20231016, 20231016)));
    const std::string strRow = "rb2401.SHF,20231016,09:01:00,4,4,4,4,8\n";
    const auto twice =
        RunServerCommand({"import", "bars", "--db", m_strDb,
                          m_folder.Write("in.csv", kMinuteHeader + strRow + strRow)});
    EXPECT_EQ(1, twice.nExit);
    EXPECT_NE(std::string::npos, twice.strOutput.find(":3: the file has this bar twice"));
}

TEST_F(BarsTest, FiveMinuteFilesServeTheirMultiples) {
    const std::string strHeader = "code,datetime,open,high,low,close,volume\n";
    const std::vector<std::string> vecOptions = {"--cycle", "5m", "--label", "end"};
    Import("bars",
           strHeader +
               "600000.SH,2024-01-02 09:35:00,10,12,9,11,1\n"
               "600000.SH,2024-01-02 09:40:00,11,13,11,13,2\n"
               "600000.SH,2024-01-02 13:05:00,13,13,13,13,4\n"
               "600000.SH,2024-01-03 09:35:00,9,9,9,9,8\n",
           vecOptions);
    Import("bars", std::string(kMinuteHeader) + "600000.SH,20240103,093100,5,6,5,6,3\n");
    const struct {
        int nMultiple;
        const char* szBars;
    } kCases[] = {
        {1, "20240103 93100 5 6 5 6 3\n"},
        {5,
         "20240102 93000 10 12 9 11 1\n20240102 93500 11 13 11 13 2\n"
         "20240102 130000 13 13 13 13 4\n20240103 93000 5 6 5 6 3\n"},
        {10,
         "20240102 93000 10 13 9 13 3\n20240102 130000 13 13 13 13 4\n20240103 93000 5 6 5 6 3\n"}};
    for (const auto& row : kCases) {
        EXPECT_EQ(row.szBars, Text(Bars("600000", "SH", kMinutes, row.nMultiple, 20240101, 0)));
    }
    std::vector<std::string> vec{"import", "bars", "--db", m_strDb,
                                 m_folder.Write("in.csv", strHeader + "600000.SH,2024-01-02 "
                                                                      "09:36:00,10,12,9,11,1\n")};
    vec.insert(vec.end(), vecOptions.begin(), vecOptions.end());
    EXPECT_NE(std::string::npos,
              RunServerCommand(vec).strOutput.find(":2: a bar of 5 minutes must begin"));
}

}  // namespace
}  // namespace qrx::test
