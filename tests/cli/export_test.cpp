// Exports from the real server: the same files whatever happened on the way, and what is fetched
// again, refused or begun anew.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>

#include <functional>
#include <map>

#include "cli/market.h"
#include "cli/served_market.h"

namespace qrx::test {
namespace {

class Export : public ServedMarket {
protected:
    // Every file of a folder; of the manifest without its first line, which names the server.
    std::map<std::string, std::string> Files(const std::string& strFolder) const {
        std::map<std::string, std::string> files;
        const fs::path root = m_cli.Folder() / strFolder;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file()) continue;
            std::string strText = ReadAll(entry.path());
            if (entry.path().filename() == "manifest.json") {
                strText.erase(0, strText.find('\n'));
            }
            files[fs::relative(entry.path(), root)] = strText;
        }
        return files;
    }
    std::string Run(const std::string& strArguments, int nExit = 0) {
        EXPECT_EQ(m_cli.Run("export " + strArguments), nExit) << strArguments << m_cli.Err();
        return nExit == 0 || nExit == 3 ? m_cli.Out() : m_cli.Err();
    }
};

const std::string kAll =
    " --kind ticks:book,trades,orders,queues,futures,bars:1m,bars:d --from 20240103 --to 20240109";

TEST_F(Export, HoldsWhatTheCommandsWrite) {
    Run("600000.SH,cu2403.SHF x --kind ticks:book,ticks,trades,orders,queues,futures:book,bars:5m,"
        "bars:d,bars:w --from 20240104 --to 20240105 --columns code,date,time");
    const char* const kCases[][2] = {
        {"ticks-book/600000.SH/2024-01-04", "ticks 600000.SH --book --from 20240104"},
        {"ticks/600000.SH/2024-01-05", "ticks 600000.SH --from 20240105"},
        {"trades/600000.SH/2024-01-05", "trades 600000.SH --from 20240105"},
        {"orders/600000.SH/2024-01-05", "orders 600000.SH --from 20240105"},
        {"queues/600000.SH/2024-01-04", "queues 600000.SH --from 20240104"},
        {"futures-book/cu2403.SHF/2024-01-05", "futures cu2403.SHF --book --from 20240105"},
        {"bars-5m/cu2403.SHF/2024-01-05", "bars cu2403.SHF --cycle 5m --from 20240105"},
        {"bars-d/600000.SH", "bars 600000.SH --from 20240104 --to 20240105"},
        {"bars-w/600000.SH", "bars 600000.SH --cycle w --from 20240104 --to 20240105"}};
    const auto files = Files("x");
    EXPECT_EQ(files.count("ticks/cu2403.SHF/2024-01-04.csv"), 0U);
    EXPECT_EQ(files.count("futures-book/600000.SH/2024-01-04.csv"), 0U);
    for (const auto& test : kCases) {
        const std::string strCommand = std::string(test[1]) + " -f csv --columns code,date,time";
        ASSERT_EQ(m_cli.Run(strCommand), 0) << m_cli.Err();
        EXPECT_EQ(files.at(std::string(test[0]) + ".csv"), m_cli.Out()) << test[0];
    }
}

TEST_F(Export, GoesOnWhereItEnded) {
    Run("000001.SH,600000.SH,cu2403.SHF whole" + kAll);
    const auto whole = Files("whole");
    struct Case {
        const char* szFolder;
        std::function<void()> strike;
        int nExit;
    };
    // The server sleeps meanwhile, so that the command is within a request.
    const Case kCases[] = {{"interrupted", [&] { m_cli.Signal(SIGINT); }, 130},
                           {"terminated", [&] { m_cli.Signal(SIGTERM); }, 130},
                           {"lost", [&] { kill(m_pServer->Pid(), SIGKILL); }, 6}};
    for (const Case& test : kCases) {
        const std::string strArguments =
            std::string("000001.SH,600000.SH,cu2403.SHF ") + test.szFolder + kAll;
        const fs::path folder = m_cli.Folder() / test.szFolder;
        m_cli.Start("export " + strArguments);
        while (!fs::exists(folder / "bars-d/000001.SH.csv")) usleep(500);
        kill(m_pServer->Pid(), SIGSTOP);
        usleep(50000);
        test.strike();
        EXPECT_EQ(m_cli.Wait(), test.nExit) << m_cli.Err();
        EXPECT_TRUE(m_cli.Err().ends_with("; the same command goes on from here.\n"))
            << m_cli.Err();
        const auto part = Files(test.szFolder);
        EXPECT_LT(part.size(), whole.size());
        for (const auto& [strPath, strText] : part) {
            if (strPath == "manifest.json") continue;
            EXPECT_EQ(whole.count(strPath), 1U) << strPath;
            EXPECT_NE(part.at("manifest.json").find(strPath), std::string::npos) << strPath;
        }
        kill(m_pServer->Pid(), SIGCONT);
        Serve();
        const std::string strSaid = Run(strArguments);
        EXPECT_EQ(strSaid.find(" 0 done before"), std::string::npos) << strSaid;
        EXPECT_EQ(Files(test.szFolder), whole) << test.szFolder;
    }
}

TEST_F(Export, FetchesWhatIsMissingAndNothingElse) {
    const fs::path file = m_cli.Folder() / "x/ticks/600000.SH/2024-01-05.csv";
    const std::string strFirst = "600000.SH x --kind ticks,bars:d --from 20240103 --to ";
    const char* const kNothing = "0 files with 0 rows written, 0 without data, ";
    // Monday has four parts of a day; the first day is before the simulated ones.
    EXPECT_EQ(Run(strFirst + "20240105").find("3 files with "), 0U) << m_cli.Out();
    EXPECT_NE(m_cli.Out().find(" written, 1 without data, 0 done before\n"), std::string::npos);
    EXPECT_EQ(Run(strFirst + "20240105"), kNothing + std::string("4 done before\n"));
    const std::string strText = ReadAll(file);
    fs::resize_file(file, strText.size() - 1);
    EXPECT_EQ(Run(strFirst + "20240105").find("1 files with "), 0U) << m_cli.Out();
    EXPECT_EQ(ReadAll(file), strText);
    // A wider range: Monday's ticks, and the file of daily bars, which keeps its earlier days.
    EXPECT_EQ(Run("600000.SH x --kind bars:d,ticks --from 20240105 --to 20240108").find("2 files"),
              0U);
    ASSERT_EQ(m_cli.Run("bars 600000.SH --from 20240104 --to 20240108 -f csv"), 0);
    EXPECT_EQ(ReadAll(m_cli.Folder() / "x/bars-d/600000.SH.csv"), m_cli.Out());
    EXPECT_EQ(Run(strFirst + "20240108"), kNothing + std::string("5 done before\n"));
}

TEST_F(Export, TakesNeitherTodayNorAFreshEmptyDayForComplete) {
    for (int nRun = 0; nRun < 2; ++nRun) {
        EXPECT_EQ(Run("600000.SH x --kind bars:d --from 20240104 --to today"),
                  "1 files with 3 rows written, 0 without data, 0 done before\n");
    }
    // The seven days that end today hold five weekdays.
    const time_t nBegin = time(nullptr) + (8 - 6 * 24) * 3600;
    tm begin{};
    gmtime_r(&nBegin, &begin);
    char szBegin[16];
    strftime(szBegin, sizeof szBegin, "%Y%m%d", &begin);
    for (int nRun = 0; nRun < 2; ++nRun) {
        EXPECT_EQ(Run("600000.SH y --kind ticks --to today --from " + std::string(szBegin), 3),
                  "0 files with 0 rows written, 5 without data, 0 done before\n");
    }
}

TEST_F(Export, RefusesAnotherRequestUnlessItBeginsAnew) {
    const std::string strFirst = "600000.SH x --from 20240105 --kind trades,orders ";
    Run(strFirst + "--columns time,price");
    const auto before = Files("x");
    struct Case {
        const char* szArguments;
        int nExit;
        const char* szSentence;
    };
    const Case kCases[] = {
        {"600000.SH x --from 20240105 --kind trades --columns time,price", 2,
         "x holds an export with --kind orders,trades, and this one is with --kind trades;"},
        {"600000.SH x --kind trades,orders", 2,
         "with --columns time,price, and this one is without"},
        {"600000.SH x --kind trades,orders --columns price,time", 2, "with --columns price,time;"},
        {"600000.SH x --kind orders,trades --columns time,price --raw", 2, "without --raw, and"},
        {"600000.SH x --kind trades,orders --columns time,price -f jsonl", 2, "--format csv"},
        {"600000.SH x --kind trades,orders --columns time,price --price-unit 100", 2, "unit 10000"},
        {"600000.SH y --kind trades,orders --columns time,pric", 2, "nearest is \"price"},
        {"600000.SH y --kind ticks:bok", 2, "the nearest is \"ticks:book\""},
        {"600000.SH y", 2, "--kind ticks,bars:1m"},
        {"600000.SH y --kind bars:0m", 2, "--cycle"},
        {"600000.SH y --kind bars:d --complete", 2, "--complete goes with"},
        {"600000.SH y --kind ticks --adjust backward", 2, "--adjust goes with bars"},
        {"600000.SH y --kind bars:d --adjust forward", 2, "--adjust-date"},
        {"600000.SH y --kind ticks -f table", 2, "csv or jsonl"},
        {"600000.SH y --kind ticks --limit 5", 2, "--limit does not go"},
        {"@none y --kind ticks", 2, "cannot read none"},
        {"600000.SH", 2, "needs FOLDER"},
        {"600000.SH,6000.SH y --kind ticks", 4, "no security 6000.SH"},
        {"cu2403.SHF y --kind ticks", 8, "cu2403.SHF is a kind of security (future) that has no"},
        {"600000.SH /dev/null/y --kind ticks --from 20240105", 9, "/dev/null/y"}};
    for (const Case& test : kCases) {
        const std::string strErr = Run(test.szArguments, test.nExit);
        EXPECT_NE(strErr.find(test.szSentence), std::string::npos) << strErr;
    }
    EXPECT_EQ(Files("x"), before);
    EXPECT_FALSE(fs::exists(m_cli.Folder() / "y"));

    std::ofstream(m_cli.Folder() / "x/mine") << "stays";
    Run(strFirst + "-f jsonl --restart");
    const auto after = Files("x");
    EXPECT_EQ(after.size(), 4U);  // two files, manifest and mine
    EXPECT_EQ(after.count("trades/600000.SH/2024-01-05.jsonl"), 1U);
    for (const char* szDamaged : {"", "{}", "[1", R"({"version":2,"request":{},"files":[]})",
                                  R"({"version":1,"request":{},"files":[{"file":"../../x"}]})"}) {
        std::ofstream(m_cli.Folder() / "x/manifest.json") << szDamaged;
        EXPECT_NE(Run(strFirst, 2).find("is no manifest of an export"), std::string::npos);
    }
    const int fd = open((m_cli.Folder() / "x").c_str(), O_RDONLY);
    flock(fd, LOCK_EX);
    EXPECT_NE(Run(strFirst + "--restart", 9).find("another export"), std::string::npos);
    close(fd);
    Run(strFirst + "--restart");
}

// The server names its securities; none of the names may lead out of the folder.
TEST(ExportPaths, StayInTheFolder) {
    Market market;
    ScriptedServer server(
        Serving([&](Peer& peer, const Message& request) { return market(peer, request); },
                {{"SH", {{"../../x", 16}, {"/tmp/y", 16}, {"..", 16}, {"600000", 16}}}}));
    Cli cli(server.Port());
    EXPECT_EQ(cli.Run("export sh x --kind orders --from 20240105"), 0) << cli.Err();
    for (const char* szName : {"%2E.%2F..%2Fx.SH", "%2Ftmp%2Fy.SH", "%2E..SH", "600000.SH"}) {
        EXPECT_TRUE(fs::exists(cli.Folder() / "x/orders" / szName / "2024-01-05.csv")) << szName;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(cli.Folder()), {}), 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(cli.Folder() / "x"), {}), 2);
}

}  // namespace
}  // namespace qrx::test
