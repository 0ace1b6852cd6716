// The limits that qrx-server is given: connections, the time between requests, its port.
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
    EXPECT_NE(std::string::npos, server.Log().find("nothing moved in time"));
    for (const char* szLimit : {"--idle", "--stall", "--max-connections"}) {
        for (const char* szValue : {"0", "-1", "99999999999999"}) {
            const auto result =
                RunServerCommand({"serve", "--db", m_strDb, "--port", "0", szLimit, szValue});
            EXPECT_NE(std::string::npos, result.strOutput.find(szLimit)) << result.strOutput;
        }
    }
}

TEST_F(ServeLimits, ASecondServerCannotTakeThePortAndSaysSo) {
    const ServerProcess server(m_folder, m_strDb);
    const auto result =
        RunServerCommand({"serve", "--db", m_strDb, "--port", std::to_string(server.Port())});
    EXPECT_EQ(1, result.nExit);
    EXPECT_NE(std::string::npos, result.strOutput.find("in use")) << result.strOutput;
}

}  // namespace
}  // namespace qrx::test
