// The command line against a real qrx-server with simulated markets: nights, books, bars, and what
// doctor says of it.
#include <gtest/gtest.h>

#include "cli/database.h"
#include "cli/run_cli.h"
#include "support/server_process.h"

namespace qrx::test {
namespace {

class RealServer : public testing::Test {
protected:
    // Friday, Monday and Tuesday, with the nights before them.
    static void SetUpTestSuite() {
        if (!HaveServer()) return;
        s_pFolder = std::make_unique<ScratchFolder>();
        const std::string strDb = s_pFolder->Path("store.db");
        const std::string strPassword = s_pFolder->Write("password", "secret");
        fs::permissions(strPassword, fs::perms(0600));
        for (const std::vector<std::string>& vecCommand :
             {std::vector<std::string>{"init", "--db", strDb},
              {"user", "add", "user", "--markets", "SH,SHF", "--password-file", strPassword, "--db",
               strDb},
              {"simulate", "--db", strDb, "--days", "3", "--end", "20240109"}}) {
            const CommandResult result = RunServerCommand(vecCommand);
            ASSERT_EQ(result.nExit, 0) << result.strOutput;
        }
        s_pServer = std::make_unique<ServerProcess>(*s_pFolder, strDb);
    }
    static void TearDownTestSuite() {
        s_pServer.reset();
        s_pFolder.reset();
    }
    void SetUp() override {
        if (!s_pServer) GTEST_SKIP() << "qrx-server is not built";
        m_pCli = std::make_unique<Cli>(s_pServer->Port());
    }
    void Run(const std::string& strArguments) {
        ASSERT_EQ(m_pCli->Run(strArguments), 0) << strArguments << m_pCli->Err();
    }
    std::string Ask(const std::string& strSql) { return Rows(m_pCli->Folder() / "m.db", strSql); }

    static inline std::unique_ptr<ScratchFolder> s_pFolder;
    static inline std::unique_ptr<ServerProcess> s_pServer;
    std::unique_ptr<Cli> m_pCli;
};

// Days of a night-traded contract fetched in other portions than before leave the table as it was:
// a day's night has the date of the day before.
TEST_F(RealServer, NightsAreReplacedWithTheirDay) {
    for (const char* szCommand : {"futures cu2403.SHF --book", "bars cu2403.SHF --cycle 1m"}) {
        const std::string strTable = szCommand[0] == 'f' ? "futures_book" : "bars_1m";
        const auto rows = [&] {
            return Ask("SELECT code, date, count(*), min(time), max(time) FROM " + strTable +
                       " GROUP BY code, date");
        };
        // Another contract's rows at the same times stay.
        std::string strOther = szCommand;
        strOther.replace(strOther.find("cu"), 2, "ag");
        Run(strOther + " --from 20240105 --to 20240109 -o m.db");
        Run(std::string(szCommand) + " --from 20240105 --to 20240109 -o m.db");
        const std::string strOnce = rows();
        EXPECT_NE(strOnce.find("2024-01-06|"), std::string::npos)
            << strOnce;  // Saturday after midnight
        for (const char* szDays : {" --from 20240108", " --from 20240105 --to 20240108",
                                   " --from 20240109", " --from 20240105 --to 20240109"}) {
            Run(szCommand + std::string(szDays) + " -o m.db");
            EXPECT_EQ(rows(), strOnce) << szCommand << szDays;
        }
        // And a part of a day.
        Run(std::string(szCommand) + " --from 20240108 --begin 10:00 --end 10:30 -o m.db");
        EXPECT_EQ(rows(), strOnce) << szCommand;
    }
}

// An export holds the rows that the single commands give, day by day and file by file.
TEST_F(RealServer, ExportAgreesWithTheCommands) {
    const std::string strDays = " --from 20240105 --to 20240109";
    Run("export 600000.SH cu2403.SHF --kinds ticks,trades,futures_book,bars_5m,bars_d -f csv -o e" +
        strDays);
    Run("export 600000.SH cu2403.SHF --kinds ticks,trades,futures_book,bars_5m,bars_d -f sqlite -o "
        "s" +
        strDays);
    const std::pair<const char*, const char*> kParts[] = {
        {"ticks 600000.SH", "ticks/600000.SH"},
        {"trades 600000.SH", "trades/600000.SH"},
        {"futures cu2403.SHF --book", "futures_book/cu2403.SHF"},
        {"bars cu2403.SHF --cycle 5m", "bars_5m/cu2403.SHF"},
        {"bars 600000.SH", "bars_d/600000.SH"}};
    for (const auto& [szCommand, szPart] : kParts) {
        Run(szCommand + strDays + " -f csv");
        std::string strFiles;
        const fs::path part = m_pCli->Folder() / "e" / szPart;
        for (const char* szDay : {"/20240105.csv", "/20240108.csv", "/20240109.csv"}) {
            const std::string strFile =
                ReadAll(fs::is_directory(part) ? part.string() + szDay : part.string() + ".csv");
            strFiles += strFiles.empty() ? strFile : strFile.substr(strFile.find('\n') + 1);
            if (!fs::is_directory(part)) break;
        }
        EXPECT_TRUE(m_pCli->Out() == strFiles) << szPart << " " << strFiles.size();
        const std::string strTable = std::string(szPart).substr(0, std::string(szPart).find('/'));
        const auto nLines = std::count(strFiles.begin(), strFiles.end(), '\n');
        const std::string strCode = std::string(szPart).substr(strTable.size() + 1);
        EXPECT_EQ(Rows(m_pCli->Folder() / "s/data.sqlite", "SELECT count(*) FROM " + strTable +
                                                               " WHERE code = '" + strCode +
                                                               "' COLLATE NOCASE"),
                  std::to_string(nLines - 1) + "\n")
            << szPart;
    }
}

TEST_F(RealServer, DoctorGoesAsFarAsItCan) {
    m_pCli->Set("LC_ALL", "C");
    const std::string strServer = "127.0.0.1:" + std::to_string(s_pServer->Port());
    struct Case {
        const char* szArguments;
        const char* szPassword;
        int nExit;
        int nGood;  // steps that went well
        const char* szLast;
    };
    const Case kCases[] = {
        {"doctor", "secret", 0, 6, "MB/s of records)"},
        {"doctor", "other", 5, 2, "FAIL "},
        {"doctor", "other", 5, 2,
         "refused the login of user: unknown user or wrong password. Ask whoever"},
        {"doctor --server 127.0.0.1:1", "secret", 6, 1,
         "cannot reach the server 127.0.0.1:1: Connection refused. Check"},
        {"doctor --server nonesuch.invalid", "secret", 6, 1,
         "nonesuch.invalid has no IPv4 address"},
        {"doctor --proxy socks5://127.0.0.1:1", "secret", 6, 1,
         "cannot reach the proxy 127.0.0.1:1"},
        {"doctor --timeout never", "secret", 2, 0, "--timeout: \"never\""},
    };
    for (const Case& test : kCases) {
        m_pCli->Set("QRX_PASSWORD", test.szPassword);
        EXPECT_EQ(m_pCli->Run(test.szArguments), test.nExit) << m_pCli->Out();
        const std::string strOut = m_pCli->Out();
        int nGood = 0;
        for (size_t n = 0; (n = strOut.find("ok   ", n)) != std::string::npos; ++n) ++nGood;
        EXPECT_EQ(nGood, test.nGood) << strOut;
        EXPECT_NE(strOut.find(test.szLast), std::string::npos) << strOut;
        EXPECT_EQ(std::count(strOut.begin(), strOut.end(), '\n'), nGood + (test.nExit != 0 ? 1 : 0))
            << strOut;
        EXPECT_EQ(strOut.find("secret"), std::string::npos) << strOut;
        EXPECT_EQ(m_pCli->Err(), "");
    }
    m_pCli->Set("QRX_PASSWORD", "secret");
    Run("doctor");
    EXPECT_NE(m_pCli->Out().find("SH (4), SHF (6)"), std::string::npos) << m_pCli->Out();
    EXPECT_NE(m_pCli->Out().find(strServer), std::string::npos) << m_pCli->Out();
}

}  // namespace
}  // namespace qrx::test
