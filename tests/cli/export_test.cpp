// Exports from the real server: the same files whatever happened on the way, and what is fetched
// again, refused or begun anew.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>

#include <functional>
#include <map>

#include "cli/database.h"
#include "cli/market.h"
#include "cli/served_market.h"

namespace qrx::test {
namespace {

class Export : public ServedMarket {
protected:
    // Every file of a folder.
    std::map<std::string, std::string> Files(const std::string& strFolder) const {
        std::map<std::string, std::string> files;
        const fs::path root = m_cli.Folder() / strFolder;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file()) continue;
            files[fs::relative(entry.path(), root)] = ReadAll(entry.path());
        }
        return files;
    }
    std::string Run(const std::string& strArguments, int nExit = 0) {
        EXPECT_EQ(m_cli.Run("export " + strArguments), nExit) << strArguments << m_cli.Err();
        return nExit == 0 || nExit == 3 ? m_cli.Out() : m_cli.Err();
    }
};

const std::string kAll =
    " --kinds ticks_book,trades,orders,queues,futures,bars_1m,bars_d --from 20240103 --to 20240109";

TEST_F(Export, HoldsWhatTheCommandsWrite) {
    Run("600000.SH cu2403.SHF -o x --kinds ticks_book,ticks,trades,orders,queues,futures_book,"
        "bars_5m,bars_d,bars_w --from 20240104 --to 20240105 --columns code,date,time");
    Run("600000.SH cu2403.SHF -o x --kinds bars_5m,futures,bars_d --from 20240104 --complete "
        "--columns code,date,time --adjust forward --adjust-date 20240105");
    const char* const kCases[][2] = {
        {"ticks_book/600000.SH/20240104", "ticks 600000.SH --book --from 20240104"},
        {"ticks/600000.SH/20240105", "ticks 600000.SH --from 20240105"},
        {"trades/600000.SH/20240105", "trades 600000.SH --from 20240105"},
        {"orders/600000.SH/20240105", "orders 600000.SH --from 20240105"},
        {"queues/600000.SH/20240104", "queues 600000.SH --from 20240104"},
        {"futures_book/cu2403.SHF/20240105", "futures cu2403.SHF --book --from 20240105"},
        {"futures_complete/cu2403.SHF/20240104", "futures cu2403.SHF --complete --from 20240104"},
        {"bars_5m/cu2403.SHF/20240105", "bars cu2403.SHF --cycle 5m --from 20240105"},
        {"bars_5m_complete_forward_20240105/600000.SH/20240104",
         "bars 600000.SH --cycle 5m --complete --from 20240104"},
        {"bars_d_forward_20240105/600000.SH", "bars 600000.SH --from 20240104"},
        {"bars_d/600000.SH", "bars 600000.SH --from 20240104 --to 20240105"},
        {"bars_w/600000.SH", "bars 600000.SH --cycle w --from 20240104 --to 20240105"}};
    const auto files = Files("x");
    EXPECT_EQ(files.count("ticks/cu2403.SHF/20240104.csv"), 0U);
    EXPECT_EQ(files.count("futures_book/600000.SH/20240104.csv"), 0U);
    for (const auto& test : kCases) {
        const std::string strCommand = std::string(test[1]) + " -f csv --columns code,date,time";
        ASSERT_EQ(m_cli.Run(strCommand), 0) << m_cli.Err();
        EXPECT_EQ(files.at(std::string(test[0]) + ".csv"), m_cli.Out()) << test[0];
    }
}

TEST_F(Export, GoesOnWhereItEnded) {
    Run("000001.SH 600000.SH cu2403.SHF -o whole" + kAll);
    const auto whole = Files("whole");
    const std::string strFirstServer = m_strServer;
    struct Case {
        const char* szFolder;
        std::function<void()> strike;
        int nExit;
    };
    // The server sleeps meanwhile, so that the command is within a request.
    const Case kCases[] = {{"interrupted", [&] { m_cli.Signal(SIGINT); }, 130},
                           {"terminated", [&] { m_cli.Signal(SIGTERM); }, 130},
                           {"lost", [&] { kill(m_pServer->Pid(), SIGKILL); }, 6},
                           {"killed", [&] { m_cli.Signal(SIGKILL); }, 1009}};
    for (const Case& test : kCases) {
        const std::string strArguments =
            std::string("000001.SH 600000.SH cu2403.SHF -o ") + test.szFolder + kAll;
        m_cli.Start("export " + strArguments);
        while (!fs::exists(m_cli.Folder() / test.szFolder / "bars_d/000001.SH.csv")) usleep(500);
        kill(m_pServer->Pid(), SIGSTOP);
        usleep(50000);
        test.strike();
        EXPECT_EQ(m_cli.Wait(), test.nExit) << m_cli.Err();
        const bool bKilled = test.nExit > 1000;
        EXPECT_EQ(m_cli.Err().ends_with("; the same command goes on from here.\n"), !bKilled)
            << m_cli.Err();
        const auto part = Files(test.szFolder);
        EXPECT_LT(part.size(), whole.size());
        for (const auto& [strPath, strText] : part) {
            if (strPath == "manifest.json") continue;
            if (bKilled && strPath.find(".part-") != std::string::npos) continue;
            EXPECT_EQ(whole.count(strPath), 1U) << strPath;
            const std::string strName = strPath.substr(0, strPath.rfind('.'));
            EXPECT_TRUE(bKilled ||
                        part.at("manifest.json").find("\"" + strName + "\"") != std::string::npos);
        }
        if (bKilled) {  // as if it had been within a file
            std::ofstream(m_cli.Folder() / test.szFolder / "bars_d/600000.SH.csv.part-Ab12cD")
                << "c";
        }
        kill(m_pServer->Pid(), SIGCONT);
        Serve();
        const std::string strSaid = Run(strArguments + " --server-moved");
        EXPECT_TRUE(bKilled || strSaid.find(" were there") != std::string::npos) << strSaid;
        auto files = Files(test.szFolder);
        files["manifest.json"].replace(files["manifest.json"].find(m_strServer), m_strServer.size(),
                                       strFirstServer);
        EXPECT_EQ(files.size(), whole.size()) << test.szFolder;
        for (const auto& [strPath, strText] : files) {  // too long to be shown
            EXPECT_TRUE(whole.contains(strPath) && whole.at(strPath) == strText)
                << test.szFolder << "/" << strPath;
        }
    }
}

TEST_F(Export, AReaderThatIsGoneIsNoError) {
    for (const char* szCommand :
         {"export 600000.SH -o x --kinds bars_d --from 20240105", "doctor 600000.SH"}) {
        int fds[2];
        ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
        close(fds[0]);
        m_cli.Start(szCommand, fds[1]);
        close(fds[1]);
        EXPECT_EQ(m_cli.Wait(), 0);
        EXPECT_EQ(m_cli.Err(), "");
    }
    EXPECT_EQ(Files("x").size(), 2U);
}

TEST_F(Export, FetchesWhatIsMissingAndNothingElse) {
    const fs::path file = m_cli.Folder() / "x/ticks/600000.SH/20240105.csv";
    const std::string strFirst = "600000.SH -o x --kinds ticks,bars_d --from 20240103 --to ";
    const std::string strNothing = "wrote 0 parts with 0 rows to x; ";
    // The first of the three days is before the simulated ones.
    EXPECT_EQ(Run(strFirst + "20240105").find("wrote 3 parts with "), 0U) << m_cli.Out();
    EXPECT_NE(m_cli.Out().find(" rows to x; 1 have no data\n"), std::string::npos) << m_cli.Out();
    EXPECT_EQ(Run(strFirst + "20240105"), strNothing + "4 were there\n");
    const std::string strText = ReadAll(file);
    fs::resize_file(file, strText.size() - 1);
    EXPECT_EQ(Run(strFirst + "20240105").find("wrote 1 parts with "), 0U) << m_cli.Out();
    EXPECT_EQ(ReadAll(file), strText);
    // A wider range: Monday's ticks, and the file of daily bars, which keeps its earlier days.
    const std::string strWider = "600000.SH -o x --kinds bars_d,ticks --from 20240105 --to ";
    EXPECT_EQ(Run(strWider + "20240108").find("wrote 2 parts"), 0U) << m_cli.Out();
    ASSERT_EQ(m_cli.Run("bars 600000.SH --from 20240104 --to 20240108 -f csv"), 0);
    EXPECT_EQ(ReadAll(m_cli.Folder() / "x/bars_d/600000.SH.csv"), m_cli.Out());
    EXPECT_EQ(Run(strFirst + "20240108"), strNothing + "5 were there\n");
    // A market has its four securities, one of them there; another name adds none twice.
    EXPECT_EQ(Run("sh 600000.SH -o x --kinds bars_d --from 20240105").find("wrote 3 parts"), 0U);
}

TEST_F(Export, TakesNeitherTodayNorAFreshEmptyDayForComplete) {
    for (int nRun = 0; nRun < 2; ++nRun) {
        EXPECT_EQ(Run("600000.SH -o x --kinds bars_d --from 20240104 --to today"),
                  "wrote 1 parts with 3 rows to x; 1 are of late days and will be asked again\n");
    }
    // The seven days that end today hold five weekdays.
    const time_t nBegin = time(nullptr) + (8 - 6 * 24) * 3600;
    tm begin{};
    gmtime_r(&nBegin, &begin);
    char szBegin[16];
    strftime(szBegin, sizeof szBegin, "%Y%m%d", &begin);
    for (int nRun = 0; nRun < 2; ++nRun) {
        EXPECT_EQ(Run("600000.SH -o y --kinds ticks --to today --from " + std::string(szBegin), 3),
                  "wrote 0 parts with 0 rows to y; 5 have no data; 5 are of late days and will be "
                  "asked again\n");
    }
}

TEST_F(Export, RefusesAnotherRequestUnlessItBeginsAnew) {
    const std::string strFirst = "600000.SH -o x --from 20240105 --kinds trades,orders ";
    Run(strFirst + "--columns time,price");
    const auto before = Files("x");
    constexpr Failing kCases[] = {
        {"600000.SH -o x --kinds trades", 2, "x was begun with --columns time,price, not none;"},
        {"600000.SH -o x --kinds trades --columns price,time", 2, "not price,time;"},
        {"600000.SH -o x --kinds trades --columns time,price --raw", 2, "with --raw no, not yes"},
        {"600000.SH -o x --kinds trades --columns time,price --tz UTC", 2, "with --tz none, not "},
        {"600000.SH -o x --kinds trades --columns time,price -f jsonl", 2, "--format csv, not js"},
        {"600000.SH -o x --kinds trades --columns time,price --price-unit 100", 2, "unit 1e4"},
        {"600000.SH -o y --kinds trades,orders --columns time,pric", 2, "nearest is \"price"},
        {"600000.SH -o y --kinds ticks_bok", 2, "the nearest is \"ticks_book\""},
        {"600000.SH -o y", 2, "--kinds ticks,bars_1m"},
        {"600000.SH -o y --kinds bars_0m", 2, "--kinds"},
        {"600000.SH -o y --kinds bars_d --complete", 2, "--complete goes with"},
        {"600000.SH -o y --kinds ticks --adjust backward", 2, "--adjust goes with bars"},
        {"600000.SH -o y --kinds ticks --adjust-volume", 2, "--adjust-volume goes with bars"},
        {"600000.SH -o y --kinds bars_d --adjust-volume", 2, "--adjust-volume goes with --adjust"},
        {"600000.SH -o y --kinds bars_d --adjust forward", 2, "--adjust-date"},
        {"600000.SH -o y --kinds ticks -f table", 2, "csv, jsonl or sqlite"},
        {"600000.SH -o y --kinds ticks --limit 5", 2, "--limit cuts days"},
        {"--codes-from none -o y --kinds ticks", 2, "cannot read none"},
        {"600000.SH --kinds ticks", 2, "-o market"},
        {"-o y --kinds ticks", 2, "needs a CODE"},
        {"600000.SH 6000.SH -o y --kinds ticks", 4, "no security 6000.SH"},
        {"600000.SH -o /dev/null/y --kinds ticks --from 20240105", 9, "/dev/null/y"},
        {"600000.SH -o . --kinds ticks --from 20240105", 9, "holds other things"}};
    // The same server, but who knows?
    const std::string strNamed =
        strFirst + "--columns time,price --server localhost:" + std::to_string(m_pServer->Port());
    m_cli.Fails("export " + strNamed, 2, "with --server " + m_strServer + ", not localhost:");
    EXPECT_NE(m_cli.Err().find("say --server-moved if both are the same"), std::string::npos);
    for (const auto& [szArguments, nExit, szSentence] : kCases) {
        m_cli.Fails(std::string("export ") + szArguments, nExit, szSentence);
    }
    EXPECT_EQ(Files("x"), before);
    EXPECT_FALSE(fs::exists(m_cli.Folder() / "y"));
    EXPECT_EQ(m_cli.Run("export cu2403.SHF -o y --kinds ticks --from 20240105"), 8);

    const std::string strThere = "wrote 0 parts with 0 rows to x; 2 were there\n";
    EXPECT_EQ(Run(strNamed + " --server-moved"), strThere);
    EXPECT_EQ(Run(strNamed), strThere);
    // A folder that does not know its server takes this one.
    std::string strOld = before.at("manifest.json");
    strOld.erase(strOld.find("\"--server\""), m_strServer.size() + 14);
    std::ofstream(m_cli.Folder() / "x/manifest.json") << strOld;
    EXPECT_EQ(Run(strNamed), strThere);
    Run(strFirst + "--columns time,price", 2);

    std::ofstream(m_cli.Folder() / "x/mine") << "stays";
    Run(strFirst + "-f jsonl --restart");
    const auto after = Files("x");
    EXPECT_EQ(after.size(), 4U);  // two files, manifest and mine
    EXPECT_EQ(after.count("trades/600000.SH/20240105.jsonl"), 1U);
    const std::string strOut = R"({"qrx_export":1,"request":{"--format":"csv"},"parts":{")";
    const std::string strEntry = R"(":{"state":"empty","rows":0,"bytes":0,"from":1,"to":1}}})";
    for (const std::string& strDamaged :
         {std::string(), std::string("{}"), std::string("[1"), strOut + "../mine" + strEntry,
          strOut + "/tmp/mine" + strEntry, strOut + "a/../../mine" + strEntry}) {
        std::ofstream(m_cli.Folder() / "x/manifest.json") << strDamaged;
        SCOPED_TRACE(strDamaged);
        m_cli.Fails("export " + strFirst, 9, "is no manifest");
    }
    const int fd = open((m_cli.Folder() / "x").c_str(), O_RDONLY);
    flock(fd, LOCK_EX);
    m_cli.Fails("export " + strFirst + "--restart", 9, "another export");
    close(fd);
    Run(strFirst + "--restart");
}

// The same days in a database, which the next run goes on with.
TEST_F(Export, FillsADatabase) {
    const std::string strArguments = "600000.SH -o x -f sqlite --kinds trades,bars_d --from ";
    Run(strArguments + "20240104");
    EXPECT_EQ(Run(strArguments + "20240104"), "wrote 0 parts with 0 rows to x; 2 were there\n");
    Run(strArguments + "20240105");
    ASSERT_EQ(m_cli.Run("trades 600000.SH --from 20240104 --to 20240105 -f csv"), 0);
    const std::string strRows = m_cli.Out();
    const auto nTrades = std::count(strRows.begin(), strRows.end(), '\n') - 1;
    const std::string strDatabase = (m_cli.Folder() / "x/data.sqlite").string();
    EXPECT_EQ(Rows(strDatabase, "SELECT count(*) FROM trades"), std::to_string(nTrades) + "\n");
    EXPECT_EQ(Rows(strDatabase, "SELECT count(*) FROM bars_d"), "2\n");
    // Rows of a day that has none, and of one between those of bars, have to go.
    Change(strDatabase,
           "INSERT INTO trades (code, date, time) VALUES ('600000.SH', '2024-01-03', '10:00');"
           "INSERT INTO bars_d (code, date) VALUES ('600000.SH', '2024-01-06')");
    Run(strArguments + "20240103 --to 20240107");
    EXPECT_EQ(Rows(strDatabase, "SELECT count(*) FROM trades"), std::to_string(nTrades) + "\n");
    EXPECT_EQ(Rows(strDatabase, "SELECT date FROM bars_d"), "2024-01-04\n2024-01-05\n");
}

// The server names its securities; none of the names may lead out of the folder.
TEST(ExportPaths, StayInTheFolder) {
    Market market;
    ScriptedServer server(
        Serving([&](Peer& peer, const Message& request) { return market(peer, request); },
                {{"SH", {{"../../x", 16}, {"/tmp/y", 16}, {"..", 16}, {"600000", 16}}}}));
    Cli cli(server.Port());
    EXPECT_EQ(cli.Run("export sh -o x --kinds orders --from 20240105"), 0) << cli.Err();
    for (const char* szName : {"%2E.%2F..%2Fx.SH", "%2Ftmp%2Fy.SH", "%2E..SH", "600000.SH"}) {
        EXPECT_TRUE(fs::exists(cli.Folder() / "x/orders" / szName / "20240105.csv")) << szName;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(cli.Folder()), {}), 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(cli.Folder() / "x"), {}), 2);
}

}  // namespace
}  // namespace qrx::test
