// export: what it asks for, what it leaves in the folder, and what the next run makes of it. How it
// goes on after an interrupt is with the other interrupts.
#include <gtest/gtest.h>
#include <sys/file.h>

#include <ctime>

#include "cli/database.h"
#include "cli/market.h"
#include "cli/run_cli.h"

namespace qrx::test {
namespace {

class Export : public testing::Test {
protected:
    // Days that were asked for by this run.
    std::vector<int> Run(const std::string& strArguments, int nExit = 0) {
        const size_t nBefore = m_market.Days().size();
        EXPECT_EQ(m_cli.Run("export " + strArguments), nExit) << strArguments << m_cli.Err();
        const std::vector<int> vecDays = m_market.Days();
        return {vecDays.begin() + static_cast<std::ptrdiff_t>(nBefore), vecDays.end()};
    }
    fs::path Path(const char* szName) const { return m_cli.Folder() / szName; }

    Market m_market;
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return m_market(peer, request); },
                NamedMarkets())};
    Cli m_cli{m_server.Port()};
};

TEST_F(Export, AFileAPartAndNothingTwice) {
    const std::string strWeek =
        "600000.SH cu1701.SHF --kinds ticks --from 20240104 --to 20240108 -o e";
    // A future has no ticks: found without a request.
    EXPECT_EQ(Run(strWeek), (std::vector<int>{20240104, kFriday, kMonday}));
    EXPECT_EQ(m_cli.Out(),
              "wrote 2 parts with 2 rows to e; 1 have no data; 3 are of a kind that the "
              "security lacks\n");
    EXPECT_EQ(
        ReadAll(Path("e/ticks/600000.SH/20240105.csv")),
        "code,date,time,price,volume,turnover,acc_volume,acc_turnover,trades,open_interest,phase,"
        "side,open,high,low,prev_close,index_up,index_down,index_flat,index_extra4,index_extra5\n"
        "600000.SH,2024-01-05,09:30:00.500,7.1200,300,-2136.0050,12300,123456789.0123,17,18,T,,"
        "7.0001,7.0002,7.0003,7.0004,41,42,43,44,45\n");
    EXPECT_FALSE(fs::exists(Path("e/ticks/600000.SH/20240104.csv")));
    EXPECT_EQ(Run(strWeek), (std::vector<int>{}));
    // More of it, a file that was lost, and one that is not what it was.
    EXPECT_EQ(Run("600000.SH --kinds ticks,orders --from 20240105 -o e"),
              (std::vector<int>{kFriday}));
    fs::remove(Path("e/ticks/600000.SH/20240105.csv"));
    std::ofstream(Path("e/ticks/600000.SH/20240108.csv")) << "half a li";
    EXPECT_EQ(Run(strWeek), (std::vector<int>{kFriday, kMonday}));
    // Another form is refused, or begins anew.
    for (const char* szOther : {" -f jsonl", " --columns price", " --raw", " --tz UTC"}) {
        EXPECT_EQ(Run(strWeek + szOther, 2), (std::vector<int>{}));
        EXPECT_NE(m_cli.Err().find("e was begun with --"), std::string::npos) << m_cli.Err();
        EXPECT_NE(m_cli.Err().find("--restart"), std::string::npos) << m_cli.Err();
    }
    std::ofstream(Path("e/mine.txt")) << "mine";
    EXPECT_EQ(Run(strWeek + " -f jsonl --restart").size(), 3U);
    EXPECT_FALSE(fs::exists(Path("e/ticks/600000.SH/20240105.csv")));
    EXPECT_TRUE(fs::exists(Path("e/ticks/600000.SH/20240105.jsonl")));
    EXPECT_TRUE(fs::exists(Path("e/mine.txt")));
}

// The exchange's day, eight hours ahead of UTC.
TEST_F(Export, TodayIsAskedAgainAndTomorrowNotAtAll) {
    char szDay[3][16];
    std::vector<int> vecToday;
    for (int i = 0; i < 3; ++i) {
        const time_t then = time(nullptr) + 8 * 3600 + (i - 1) * 86400;
        tm day{};
        gmtime_r(&then, &day);
        strftime(szDay[i], sizeof szDay[i], "%Y%m%d", &day);
        if (i == 1 && day.tm_wday >= 1 && day.tm_wday <= 5) vecToday = {std::stoi(szDay[i])};
    }
    const std::string strDays =
        std::string("600000.SH --kinds trades -o e --from ") + szDay[0] + " --to " + szDay[2];
    Run(strDays, 3);
    EXPECT_EQ(Run(strDays, 3), vecToday);  // yesterday is known to have no data
}

TEST_F(Export, AFolderThatIsNotToBeWritten) {
    Run("600000.SH --kinds trades --from 20240105 -o e");
    const std::string strManifest = ReadAll(Path("e/manifest.json"));
    struct Case {
        std::string strManifest;
        int nExit;
        const char* szSentence;
    };
    std::string strEscaped = strManifest;
    strEscaped.replace(strEscaped.find("trades/600000.SH"), 6, "../../x");
    const Case kCases[] = {{"", 9, "no manifest that this qrx can read"},
                           {strManifest.substr(0, 100), 9, "no manifest"},
                           {strEscaped, 9, "no manifest"},
                           {strManifest, 0, ""}};
    for (const Case& test : kCases) {
        std::ofstream(Path("e/manifest.json")) << test.strManifest;
        EXPECT_EQ(Run("600000.SH --kinds trades --from 20240105 -o e", test.nExit),
                  (std::vector<int>{}));
        EXPECT_NE(m_cli.Err().find(test.szSentence), std::string::npos) << m_cli.Err();
    }
    const int fd = open(Path("e").c_str(), O_RDONLY | O_DIRECTORY);
    flock(fd, LOCK_EX);
    Run("600000.SH --kinds trades --from 20240105 -o e", 9);
    EXPECT_NE(m_cli.Err().find("another export is writing"), std::string::npos) << m_cli.Err();
    close(fd);
}

}  // namespace
}  // namespace qrx::test
