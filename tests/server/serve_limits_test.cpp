// What qrx-server is told: limits of connections and of the time between requests, address, days,
// users and stores.
#include <iterator>
#include <sstream>

#include "server/test_store.h"

namespace qrx::test {
namespace {

class ServeLimits : public StoreTest {
protected:
    void SetUp() override { AddUser("alice", "SH"); }
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
    ServerClient client(server, "alice");
    EXPECT_TRUE(client.IsClosedByServer());  // it would wait for 20 seconds
    const ServerProcess other(m_folder, m_strDb, {"--idle", "60", "--stall", "1"});
    ServerClient slow(other, "alice");
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
        const std::vector<std::string> vec{std::istream_iterator<std::string>(words), {}};
        const auto result = Command(vec);
        EXPECT_NE(0, result.nExit) << szCommand;
        EXPECT_NE(std::string::npos, result.strOutput.find(vec[1])) << result.strOutput;
    }
}

TEST_F(ServeLimits, ASecondServerCannotTakeThePortAndSaysSo) {
    const ServerProcess server(m_folder, m_strDb);
    ExpectRefused(Command({"serve", "--port", std::to_string(server.Port())}), "in use");
}

TEST_F(ServeLimits, UsersAndStoresAreGuarded) {
    const std::string strFits(31, 'p');
    std::string strMarkets = "SH";
    for (int i = 0; i < 31; ++i) strMarkets += ",M" + std::to_string(i);
    const struct {
        std::string strName, strMarkets, strPassword, strRefusal;
    } kRefused[] = {
        {"seventeen-letters", "SH", strFits, "a user name has 1 to 16 bytes"},
        {"bob", "SH", strFits + "p", "a password has 1 to 31 bytes"},
        {"bob", "SH", "", "a password has 1 to 31 bytes"},
        {"bob", "SHANG", strFits, "a market has 1 to 4 characters: SHANG"},
        {"bob", strMarkets, strFits, "a user has at most 31 markets"},
        {"alice", "SH", strFits, "user alice exists already"},
    };
    for (const auto& row : kRefused) {
        ExpectRefused(TryUser(row.strName, row.strMarkets, row.strPassword), row.strRefusal);
    }
    EXPECT_EQ(0, TryUser("sixteen--letters", "SH,CF,sh", strFits).nExit);
    ExpectRefused(Command({"user", "add", "bob"}), "no terminal");
    EXPECT_EQ("alice\tSH\nsixteen--letters\tSH,CF\n", Command({"user", "list"}).strOutput);
    {
        // Names and passwords that fill their fields have no NUL on the wire.
        const ServerProcess server(m_folder, m_strDb);
        ServerClient client(server);
        EXPECT_EQ(1, client.LogIn("sixteen--letters", strFits).As<ZPMDefine_LoginAnswer>().nResult);
    }
    Must({"user", "remove", "alice"});
    ExpectRefused(Command({"user", "remove", "alice"}), "there is no user alice");

    ExpectRefused(Command({"init"}), "exists already");
    ExpectRefused(RunServerCommand({"serve", "--db", m_folder.Path("no.db")}), "does not exist");
    ExpectRefused(RunServerCommand({"serve", "--db", m_folder.Write("text", "no store")}),
                  "not a database");
}

}  // namespace
}  // namespace qrx::test
