// What qrx-server is told: limits of connections and of the time between requests, address, days,
// users and stores.
#include <iterator>
#include <sstream>

#include "server/server_client.h"

namespace qrx::test {
namespace {

class ServeLimits : public testing::Test {
protected:
    void SetUp() override {
        if (!HaveServer()) GTEST_SKIP() << "qrx-server is not built here";
        m_strDb = m_folder.Path("store.db");
        ASSERT_EQ(0, RunServerCommand({"init", "--db", m_strDb}).nExit);
        ASSERT_EQ(0, RunServerCommand({"user", "add", "alice", "--markets", "SH", "--password-file",
                                       m_folder.Write("password", "secret\n"), "--db", m_strDb})
                         .nExit);
    }

    ScratchFolder m_folder;
    std::string m_strDb;
};

TEST_F(ServeLimits, MoreConnectionsThanAllowedAreTurnedAway) {
    const ServerProcess server(m_folder, m_strDb, {"--max-connections", "2"});
    {
        ServerClient first(server), second(server), extra(server);
        EXPECT_TRUE(extra.IsClosedByServer());
        EXPECT_EQ(1, second.LogIn("alice", "secret").As<ZPMDefine_LoginAnswer>().nResult);
    }
    for (int i = 0; i < 100; ++i) {
        ServerClient again(server);
        again.Send(ID_ZPMTELE_LOGIN, 0, std::string(88, '\0'));
        if (again.Receive()) return;
        usleep(50000);
    }
    FAIL() << "places of connections that left are not given away again";
}

TEST_F(ServeLimits, AClientMayRestSoLongAndNoLonger) {
    const ServerProcess server(m_folder, m_strDb, {"--idle", "1", "--stall", "60"});
    ServerClient client(server);
    client.LogIn("alice", "secret");
    EXPECT_TRUE(client.IsClosedByServer());  // it would wait for 20 seconds
    const ServerProcess other(m_folder, m_strDb, {"--idle", "60", "--stall", "1"});
    ServerClient slow(other);
    slow.LogIn("alice", "secret");
    slow.SendBytes("HS");  // the first bytes of a head
    EXPECT_TRUE(slow.IsClosedByServer());
    const auto said = [&] {
        return server.Log().find("nothing moved in time") != std::string::npos;
    };
    for (int i = 0; i < 100 && !said(); ++i) usleep(20000);  // the line follows the end
    EXPECT_TRUE(said());
}

TEST_F(ServeLimits, ValuesThatServeNobodyAreRefusedByName) {
    for (const char* szCommand :
         {"serve --idle 0", "serve --idle -1", "serve --stall 0", "serve --max-connections 0",
          "serve --max-connections 99999999999999", "serve --listen nowhere", "simulate --days 0",
          "simulate --end 20240230", "simulate --end 2024-01-05", "simulate --market SHH"}) {
        std::istringstream words(szCommand);
        std::vector<std::string> vec{std::istream_iterator<std::string>(words), {}};
        vec.insert(vec.end(), {"--db", m_strDb});
        const auto result = RunServerCommand(vec);
        EXPECT_NE(0, result.nExit) << szCommand;
        EXPECT_NE(std::string::npos, result.strOutput.find(vec[1])) << result.strOutput;
    }
}

TEST_F(ServeLimits, ASecondServerCannotTakeThePortAndSaysSo) {
    const ServerProcess server(m_folder, m_strDb);
    const auto result =
        RunServerCommand({"serve", "--db", m_strDb, "--port", std::to_string(server.Port())});
    EXPECT_EQ(1, result.nExit);
    EXPECT_NE(std::string::npos, result.strOutput.find("in use")) << result.strOutput;
}

TEST_F(ServeLimits, UsersAndStoresAreGuarded) {
    const std::string strLong = m_folder.Write("long", std::string(32, 'p') + "\n");
    const std::string strFits = m_folder.Write("fits", std::string(31, 'p') + "\n");
    const std::string strEmpty = m_folder.Write("empty", "\n");
    const auto add = [&](const std::string& strName, const std::string& strMarkets,
                         const std::string& strPassword) {
        return RunServerCommand({"user", "add", strName, "--markets", strMarkets, "--password-file",
                                 strPassword, "--db", m_strDb});
    };
    EXPECT_EQ(1, add("seventeen-letters", "SH", strFits).nExit);
    EXPECT_EQ(0, add("sixteen--letters", "SH,CF,sh", strFits).nExit);
    EXPECT_EQ(1, add("bob", "SH", strLong).nExit);
    EXPECT_EQ(1, add("bob", "SH", strEmpty).nExit);
    EXPECT_EQ(1, add("bob", "SHANG", strFits).nExit);
    EXPECT_EQ(1, add("alice", "SH", strFits).nExit);
    const auto terminal = RunServerCommand({"user", "add", "bob", "--db", m_strDb});
    EXPECT_EQ(1, +terminal.nExit);
    EXPECT_NE(std::string::npos, terminal.strOutput.find("no terminal")) << terminal.strOutput;
    EXPECT_EQ("alice\tSH\nsixteen--letters\tSH,CF\n",
              RunServerCommand({"user", "list", "--db", m_strDb}).strOutput);
    {
        // Names and passwords that fill their fields have no NUL on the wire.
        const ServerProcess server(m_folder, m_strDb);
        ServerClient client(server);
        EXPECT_EQ(1, client.LogIn("sixteen--letters", std::string(31, 'p'))
                         .As<ZPMDefine_LoginAnswer>()
                         .nResult);
    }
    EXPECT_EQ(0, RunServerCommand({"user", "remove", "alice", "--db", m_strDb}).nExit);
    EXPECT_EQ(1, RunServerCommand({"user", "remove", "alice", "--db", m_strDb}).nExit);

    EXPECT_EQ(1, RunServerCommand({"init", "--db", m_strDb}).nExit);  // exists
    EXPECT_EQ(1, RunServerCommand({"serve", "--db", m_folder.Path("no.db")}).nExit);
    EXPECT_EQ(1, RunServerCommand({"serve", "--db", strFits}).nExit);  // no store
}

}  // namespace
}  // namespace qrx::test
