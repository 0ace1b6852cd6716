// Bars: imported, aggregated to every cycle on the grid of their session, adjusted, and served.
// Expected values are worked by hand from the rows above them.
#include "server/test_store.h"

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

constexpr const char* kMinuteHeader = "code,date,time,open,high,low,close,volume\n";
constexpr const char* kDayHeader = "code,date,open,high,low,close,volume\n";

class BarsTest : public StoreTest {
protected:
    void SetUp() override {
        AddUser("alice", "SH,SHF,XX");
        Import("codes",
               "code,type\n600000.SH,stock\n000001.SH,index\nru1901.SHF,future\nrb2401.SHF,future\n"
               "FREE.XX,stock\n10004405.SH,option\nIF2401.CF,future\n");
    }
    void Minutes(const std::string& strRows, const std::vector<std::string>& vecOptions = {}) {
        Import("bars", kMinuteHeader + strRows, vecOptions);
    }
    void Days(const std::string& strRows) {
        Import("bars", kDayHeader + strRows, {"--cycle", "day"});
    }
    template <class Request>
    static Request BarRequest(const char* szSecurity, int nCycle, int nMultiple, int nBegin,
                              int nEnd) {
        auto request = RequestOf<Request>(szSecurity);
        request.nCycType = nCycle;
        request.nCycDef = nMultiple;
        request.nBeginDate = nBegin;
        request.nEndDate = nEnd;
        return request;
    }
    std::vector<ZPMDefine_KData> Bars(const char* szSecurity, int nCycle, int nMultiple, int nBegin,
                                      int nEnd, int nMode = 0, int nModeDate = 0, int nSwitch = 0) {
        auto request =
            BarRequest<ZPMDefine_RequestKData>(szSecurity, nCycle, nMultiple, nBegin, nEnd);
        request.nModeFlag = nMode;
        request.nModeDate = nModeDate;
        request.nModeSwitch = nSwitch;
        const auto vec = Fetch<ZPMDefine_KData>(ID_ZPMTELE_REQ_KDATA, request);
        for (const auto& message : m_vecMessages) EXPECT_EQ(1010, message.head.sDataType);
        return vec;
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
};

TEST_F(BarsTest, MinutesAreJoinedOnTheGridOfTheirSession) {
    Minutes(
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
        Text(Bars("600000.SH", kMinutes, 1, 20240102, 20240103)));
    EXPECT_EQ(
        "20240102 93000 10 13 9 12 300\n20240102 93500 12 12 8 8 300\n"
        "20240102 112500 8 9 8 9 3\n20240102 130000 9 9 9 9 400\n",
        Text(Bars("600000.SH", kMinutes, 5, 20240102, 20240102)));
    // Seven minutes: 09:30, 09:37, ... 11:29; the afternoon begins anew at 13:00.
    EXPECT_EQ(
        "20240102 93000 10 13 8 8 600\n20240102 112900 8 9 8 9 3\n"
        "20240102 130000 9 9 9 9 400\n20240103 142400 7 7 7 7 500\n",
        Text(Bars("600000.SH", kMinutes, 7, 20240101, 20240105)));
    EXPECT_EQ("", Text(Bars("600000.SH", kMinutes, 5, 20240104, 20240105)));
}

// Two hours of night are 17 times seven minutes and one: 22:59 runs over the end by six minutes,
// so the day begins at 09:06, and what was traded before belongs to the night's last bar.
TEST_F(BarsTest, ANightRunsOverIntoItsDay) {
    Minutes(
        "ru1901.SHF,20180928,210500,10,10,10,10,1\n"
        "ru1901.SHF,20180928,225900,11,11,11,11,2\n"
        "ru1901.SHF,20181001,090000,12,12,12,12,4\n"
        "ru1901.SHF,20181001,090600,13,13,13,13,8\n"
        "ru1901.SHF,20181001,093100,14,14,14,14,16\n");
    EXPECT_EQ(
        "20180928 210000 10 10 10 10 1\n20180928 225900 11 12 11 12 6\n"
        "20181001 90600 13 13 13 13 8\n20181001 92700 14 14 14 14 16\n",
        Text(Bars("ru1901.SHF", kMinutes, 7, 20181001, 20181001)));
    // Nights before the product had any are nothing but early.
    Minutes(
        "ru1901.SHF,20140103,210500,10,10,10,10,1\n"
        "ru1901.SHF,20140106,090100,11,11,11,11,2\n");
    EXPECT_EQ("20140106 90000 10 11 10 11 3\n",
              Text(Bars("ru1901.SHF", kMinutes, 5, 20140106, 20140106)));
}

TEST_F(BarsTest, MarketsWithoutAGridCountFromMidnight) {
    Minutes(
        "FREE.XX,20240102,093400,1,1,1,1,1\nFREE.XX,20240102,093700,2,2,2,2,2\n"
        "FREE.XX,20240106,093700,3,3,3,3,4\n");  // a Saturday
    EXPECT_EQ("20240102 93000 1 1 1 1 1\n20240102 93500 2 2 2 2 2\n20240106 93500 3 3 3 3 4\n",
              Text(Bars("FREE.XX", kMinutes, 5, 20240101, 20240131)));
}

TEST_F(BarsTest, SecondsComeFromTicks) {
    Import("ticks",
           "code,date,time,price,volume,trades\n"
           "600000.SH,20240102,92500000,10,100,3\n"
           "600000.SH,20240102,93003000,99,0,3\n"  // nothing traded
           "600000.SH,20240102,93006000,12,200,5\n"
           "600000.sh,20240102,93029000,9,300,6\n"
           "600000.SH,20240102,93030000,8,400,10\n");
    const auto bars = Bars("600000.SH", kSeconds, 30, 20240102, 20240102);
    EXPECT_EQ("20240102 93000 10 12 9 9 600\n20240102 93030 8 8 8 8 400\n", Text(bars));
    ASSERT_EQ(2U, bars.size());
    EXPECT_EQ(6, +bars[0].nMatchItems);
    EXPECT_EQ(4, +bars[1].nMatchItems);
}

TEST_F(BarsTest, LongCyclesAreDatedByTheirLastDay) {
    const auto result = TryImport("bars",
                                  std::string(kDayHeader) +
                                      "600000.SH,2023-11-30,1,2,1,2,1\n"
                                      "600000.SH,2023-12-29,2,3,2,3,2\n"
                                      "600000.SH,2024-01-02,3,6,3,5,4\n",
                                  {"--cycle", "day"});
    EXPECT_NE(std::string::npos, result.strOutput.find(": 3 rows, 3 records, 3 days\n"))
        << result.strOutput;
    Days(
        "600000.SH,2024-07-01,9,9,9,9,64\n600000.SH,2024-04-01,8,8,8,8,32\n"
        "600000.SH,2024-01-05,5,5,4,4,8\n"
        "600000.SH,2024-01-08,4,7,4,7,16\n");
    const struct {
        int nCycle, nMultiple, nBegin, nEnd;
        const char* szBars;
    } kCases[] = {
        {kDays, 1, 20230101, 20241231,
         "20231130 0 1 2 1 2 1\n20231229 0 2 3 2 3 2\n20240102 0 3 6 3 5 4\n20240105 0 5 5 4 4 8\n"
         "20240108 0 4 7 4 7 16\n20240401 0 8 8 8 8 32\n20240701 0 9 9 9 9 64\n"},
        {kDays, 1, 20231229, 20240104, "20231229 0 2 3 2 3 2\n20240102 0 3 6 3 5 4\n"},
        {kDays, 3, 20230101, 20241231,
         "20240102 0 1 6 1 5 7\n20240401 0 5 8 4 8 56\n20240701 0 9 9 9 9 64\n"},
        {kWeeks, 1, 20230101, 20241231,
         "20231130 0 1 2 1 2 1\n20231229 0 2 3 2 3 2\n20240105 0 3 6 3 4 12\n"
         "20240108 0 4 7 4 7 16\n20240401 0 8 8 8 8 32\n20240701 0 9 9 9 9 64\n"},
        {kWeeks, 2, 20230101, 20241231,
         "20231229 0 1 3 1 3 3\n20240108 0 3 7 3 7 28\n20240701 0 8 9 8 9 96\n"},
        // A bar is whole wherever the range begins, and none ends before its own last day.
        {kWeeks, 1, 20240103, 20240107, "20240105 0 3 6 3 4 12\n"},
        {kWeeks, 2, 20240108, 20240630, "20240108 0 3 7 3 7 28\n"},
        {kMonths, 1, 20230101, 20241231,
         "20231130 0 1 2 1 2 1\n20231229 0 2 3 2 3 2\n20240108 0 3 7 3 7 28\n"
         "20240401 0 8 8 8 8 32\n20240701 0 9 9 9 9 64\n"},
        {kQuarters, 1, 20230101, 20241231,
         "20231229 0 1 3 1 3 3\n20240108 0 3 7 3 7 28\n20240401 0 8 8 8 8 32\n"
         "20240701 0 9 9 9 9 64\n"},
        {kHalfYears, 1, 20230101, 20241231,
         "20231229 0 1 3 1 3 3\n20240401 0 3 8 3 8 60\n20240701 0 9 9 9 9 64\n"},
        {kYears, 1, 20230101, 20241231, "20231229 0 1 3 1 3 3\n20240701 0 3 9 3 9 124\n"},
    };
    for (const auto& [nCycle, nMultiple, nBegin, nEnd, szBars] : kCases) {
        EXPECT_EQ(szBars, Text(Bars("600000.SH", nCycle, nMultiple, nBegin, nEnd)))
            << nCycle << " x " << nMultiple;
    }
}

// Factors 2 from 2024-01-05 on and 4 from 2024-01-08 on.
TEST_F(BarsTest, PricesAreAdjustedBothWays) {
    Days(
        "600000.SH,20240102,40,40,40,40,100\n600000.SH,20240105,20,20,20,20,100\n"
        "600000.SH,20240108,10,10,10,10,100\n");
    // These replace the first. The last one is of a day that is not stored yet.
    Import("adjust", "code,date,factor\n600000.SH,20240102,3\n");
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
        for (const auto& bar : Bars("600000.SH", kDays, 1, 20240101, 20240131, row.nMode,
                                    row.nModeDate, row.nSwitch)) {
            str += std::to_string(bar.nClose / 10000) + " " + std::to_string(bar.iVolume) + ",";
        }
        EXPECT_EQ(row.szBars, str) << row.nMode << " " << row.nModeDate << " " << row.nSwitch;
    }
    // Ticks reach one day and its factor further, and that is the last day of every cycle: of
    // daily bars 40 * 1/8, 20 * 2/8, 10 * 4/8, of a minute 40 * 4/8.
    Minutes("600000.SH,20240108,093000,40,40,40,40,1\n");
    Import("ticks", "code,date,time,price,volume\n600000.SH,20240109,93000000,40,1\n");
    EXPECT_EQ("20240102 0 5 5 5 5 100\n20240105 0 5 5 5 5 100\n20240108 0 5 5 5 5 100\n",
              Text(Bars("600000.SH", kDays, 1, 20240101, 0, 1)));
    EXPECT_EQ("20240108 93000 20 20 20 20 1\n",
              Text(Bars("600000.SH", kMinutes, 1, 20240101, 0, 1)));
    EXPECT_EQ("20240109 93000 40 40 40 40 1\n",
              Text(Bars("600000.SH", kSeconds, 1, 20240101, 0, 1)));
    // A night has the factor of its trading day.
    Minutes(
        "ru1901.SHF,20240105,145900,10,10,10,10,4\n"
        "ru1901.SHF,20240105,210000,10,10,10,10,4\n"
        "ru1901.SHF,20240108,090000,10,10,10,10,4\n");
    EXPECT_EQ(
        "20240105 145900 10 10 10 10 4\n20240105 210000 20 20 20 20 2\n"
        "20240108 90000 20 20 20 20 2\n",
        Text(Bars("ru1901.SHF", kMinutes, 1, 20240105, 0, 2, 0, 1)));
}

TEST_F(BarsTest, IndexesAndOptionsHaveTheirOwnForms) {
    Minutes(
        "000001.SH,20240102,093000,3000,3001,2999,3000.5,7\n"
        "10004405.SH,20240102,093000,1,2,1,2,3\n");
    const auto index = Fetch<ZPMDefine_KData_Index>(
        ID_ZPMTELE_REQ_KDATA,
        BarRequest<ZPMDefine_RequestKData>("000001.SH", kMinutes, 1, 20240102, 20240102));
    EXPECT_EQ(1011, m_vecMessages[0].head.sDataType);
    ExpectRecords<ZPMDefine_KData_Index>(
        index, {{20240102, 93000, 30000000, 30010000, 29990000, 30005000, 7, 0, 0, {}}});
    auto request =
        BarRequest<ZPMDefine_RequestKData_Option>("10004405.SH", kMinutes, 1, 20240102, -1);
    EXPECT_EQ("20240102 93000 1 2 1 2 3\n",
              Text(Fetch<ZPMDefine_KData>(ID_ZPMTELE_REQ_KDATA_OPTION, request)));
    EXPECT_EQ(1012, m_vecMessages[0].head.sDataType);
    request.nCycType = 3;
    const ServerProcess server(m_folder, m_strDb);
    ServerClient client(server, "alice");
    client.Send(ID_ZPMTELE_REQ_KDATA_OPTION, 1, Bytes(request));
    EXPECT_TRUE(client.IsClosedByServer());
}

TEST_F(BarsTest, LabelsAuctionsAndSumsAreOptionsOfTheImport) {
    const std::string strRows =
        "rb2401.SHF,20231010,00:00:00,14,14,14,14,90\n"  // of 23:59
        "rb2401.SHF,20231009,21:02:00,13,13,13,13,70\n"  // newest first
        "rb2401.SHF,20231009,21:01:00,12,12,11,11,40\n"
        "rb2401.SHF,20231009,21:00:00,10,10,10,10,10\n";
    Minutes(strRows, {"--label", "end", "--volume", "cumulative"});
    EXPECT_EQ(
        "20231009 210000 10 12 10 11 40\n20231009 210100 13 13 13 13 30\n"
        "20231009 235900 14 14 14 14 20\n",
        Text(Bars("rb2401.SHF", kMinutes, 1, 20231010, 20231010)));
    const auto tryMinutes = [&](const std::string& strText, std::vector<std::string> vecOptions) {
        return TryImport("bars", kMinuteHeader + strText, vecOptions);
    };
    ExpectRefused(tryMinutes(strRows, {"--label", "end", "--auction", "refuse"}),
                  ":5: a bar before its session");
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
        {"rb2401.SHF,20231010,20:44:00", "begin", "20:44 on is outside"},
        {"rb2401.SHF,20231010,20:45:00", "begin", "a bar before its session"},
        {"rb2401.SHF,20231010,00:59:00", "begin", ""},
        {"rb2401.SHF,20231010,02:30:00", "begin", "02:30 on is outside"},
        {"IF2401.CF,20231010,09:29:00", "begin", ""},
        {"IF2401.CF,20231010,15:15:00", "begin", "15:15 on is outside"},
        {"FREE.XX,20231010,02:30:00", "begin", ""},
    };
    for (const auto& row : kTimes) {
        const std::string strRow = row.szRow + std::string(",1,1,1,1,1\n");
        SCOPED_TRACE(strRow);
        const bool bFits = *row.szRefusal == '\0';
        const auto refused = tryMinutes(strRow, {"--label", row.szLabel, "--auction", "refuse"});
        if (bFits) EXPECT_EQ(0, refused.nExit) << refused.strOutput;
        if (!bFits) ExpectRefused(refused, row.szRefusal);
        const auto kept = tryMinutes(strRow, {"--label", row.szLabel});
        EXPECT_EQ(0, kept.nExit);
        EXPECT_EQ(!bFits && *row.szRefusal != 'a',
                  kept.strOutput.find("part of the bars beside them: 1\n") != std::string::npos)
            << kept.strOutput;
    }
    // A night that is dated by its trading day keeps together over midnight.
    Minutes(
        "rb2401.SHF,20231016,23:59:00,1,1,1,1,1\nrb2401.SHF,20231016,00:00:00,2,2,2,2,2\n"
        "rb2401.SHF,20231016,00:01:00,3,3,3,3,4\nrb2401.SHF,20231016,09:01:00,4,4,4,4,8\n",
        {"--label", "end", "--night", "trading"});
    EXPECT_EQ(
        "20231013 235800 1 1 1 1 1\n20231013 235900 2 2 2 2 2\n20231014 0 3 3 3 3 4\n"
        "20231016 90000 4 4 4 4 8\n",
        Text(Bars("rb2401.SHF", kMinutes, 1, 20231016, 20231016)));
    const std::string strRow = "rb2401.SHF,20231016,09:01:00,4,4,4,4,8\n";
    ExpectRefused(tryMinutes(strRow + strRow, {}), ":3: the file has this bar twice");
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
    Minutes("600000.SH,20240103,093100,5,6,5,6,3\n");
    Minutes("600000.SH,20240103,093200,7,7,7,7,1\n", {"--append"});
    const struct {
        int nMultiple;
        const char* szBars;
    } kCases[] = {
        {1, "20240103 93100 5 6 5 6 3\n20240103 93200 7 7 7 7 1\n"},
        {5,
         "20240102 93000 10 12 9 11 1\n20240102 93500 11 13 11 13 2\n"
         "20240102 130000 13 13 13 13 4\n20240103 93000 5 7 5 7 4\n"},
        {10,
         "20240102 93000 10 13 9 13 3\n20240102 130000 13 13 13 13 4\n20240103 93000 5 7 5 7 4\n"}};
    for (const auto& row : kCases) {
        EXPECT_EQ(row.szBars, Text(Bars("600000.SH", kMinutes, row.nMultiple, 20240101, 0)));
    }
    ExpectRefused(
        TryImport("bars", strHeader + "600000.SH,2024-01-02 09:36:00,10,12,9,11,1\n", vecOptions),
        ":2: a bar of 5 minutes must begin");
}

}  // namespace
}  // namespace qrx::test
