// The real qrx against the real qrx-server with three simulated trading days, 2024-01-04, Friday
// and Monday, of the markets SH and SHF.
#ifndef QRX_TESTS_CLI_SERVED_MARKET_H
#define QRX_TESTS_CLI_SERVED_MARKET_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>

#include "cli/run_cli.h"
#include "support/server_process.h"

namespace qrx::test {

class ServedMarket : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!HaveServer()) return;
        s_pFolder = new ScratchFolder;
        const std::string strPassword = s_pFolder->Write("password", "secret\n");
        chmod(strPassword.c_str(), 0600);
        for (const std::vector<std::string>& vecCommand : std::vector<std::vector<std::string>>{
                 {"init"},
                 {"user", "add", "user", "--markets", "SH,SHF", "--password-file", strPassword},
                 {"simulate", "--days", "3", "--end", "20240108", "--market", "SH,SHF"}}) {
            std::vector<std::string> vecWords = vecCommand;
            vecWords.insert(vecWords.end(), {"--db", s_pFolder->Path("db")});
            ASSERT_EQ(RunServerCommand(vecWords).nExit, 0);
        }
    }
    static void TearDownTestSuite() { delete s_pFolder; }

    void SetUp() override {
        if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built";
        Serve();
    }
    // On another port, where the former server is no more.
    void Serve() {
        m_pServer.reset();
        m_pServer = std::make_unique<ServerProcess>(*s_pFolder, s_pFolder->Path("db"));
        m_strServer = "127.0.0.1:" + std::to_string(m_pServer->Port());
        m_cli.Set("QRX_SERVER", m_strServer);
    }

    static inline ScratchFolder* s_pFolder = nullptr;
    std::unique_ptr<ServerProcess> m_pServer;
    std::string m_strServer;
    Cli m_cli{1};
};

}  // namespace qrx::test

#endif
