// Where settings come from, which source counts, and who may read the files.
#include <gtest/gtest.h>

#include "cli/market.h"
#include "cli/run_cli.h"

namespace qrx::test {
namespace {

// Refuses every login with "user/password" of it, so that a command's error shows both.
class SettingsSources : public testing::Test {
protected:
    ScriptedServer m_server{[](Peer& peer) {
        Message request;
        while (peer.Receive(request)) {
            const std::string strUser(request.strBody.c_str());
            const std::string strPassword(request.strBody.c_str() + 16);
            peer.Answer(request, ID_ZPMTELE_LOGIN_ANSWER,
                        LoginAnswer({}, 0, "\xB5\xC7 " + strUser + "/" + strPassword));
        }
    }};
    Cli m_cli{m_server.Port()};

    fs::path Write(const char* szName, const std::string& strText, int nMode = 0600) {
        const fs::path path = m_cli.Home() / szName;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << strText;
        fs::permissions(path, static_cast<fs::perms>(nMode));
        return path;
    }
    std::string Refusal(const std::string& strArguments) {
        EXPECT_EQ(m_cli.Run(strArguments), 5) << m_cli.Err();
        const std::string strMark = "refused the login of ";
        return m_cli.Err().substr(m_cli.Err().find(strMark) + strMark.size());
    }
};

TEST_F(SettingsSources, OptionBeforeEnvironmentBeforeFile) {
    const std::string strServer = "127.0.0.1:" + std::to_string(m_server.Port());
    Write(".config/qrx/config",
          "# mine\n\n server = " + strServer + "\nuser=filed\npassword = a = b \n");
    const fs::path secret = Write("secret", "from file\n");
    EXPECT_EQ(Refusal("codes"), "user: \u767B user/secret.\n");
    EXPECT_EQ(Refusal("codes --user typed"), "typed: \u767B typed/secret.\n");
    EXPECT_EQ(Refusal("codes --password-file " + secret.string()),
              "user: \u767B user/from file.\n");
    for (const char* szName : {"QRX_USER", "QRX_PASSWORD", "QRX_SERVER"}) m_cli.Unset(szName);
    EXPECT_EQ(Refusal("codes"), "filed: \u767B filed/a = b.\n");
    m_cli.Set("QRX_CONFIG", Write("other", "user=o\npassword=p\nserver=localhost:" +
                                               std::to_string(m_server.Port()))
                                .string());
    EXPECT_EQ(Refusal("codes"), "o: \u767B o/p.\n");
}

TEST_F(SettingsSources, Refused) {
    struct Case {
        const char* szConfig;
        int nConfigMode;
        const char* szArguments;
        const char* szSentence;
    };
    Write("open", "x", 0640);
    Write("long", std::string(32, 'x'));
    const Case kCases[] = {
        {"", 0644, "codes", "others may read"},
        {"usr = x\n", 0600, "codes",
         "line 1: there is no setting \"usr\"; the nearest is \"user\""},
        {"\nuser x\n", 0600, "codes", "line 2: not of the form"},
        {"", 0600, "codes --password-file HOME/open", "chmod 600"},
        {"", 0600, "codes --password-file HOME/none", "there is no file"},
        {"", 0600, "codes --password-file HOME/long", "at most 31"},
        {"", 0600, "codes --user 12345678901234567", "at most 16"},
        {"timeout = 0\n", 0600, "codes", "timeout in "},
    };
    for (const Case& test : kCases) {
        Write(".config/qrx/config", test.szConfig, test.nConfigMode);
        std::string strArguments = test.szArguments;
        if (const size_t n = strArguments.find("HOME"); n != std::string::npos) {
            strArguments.replace(n, 4, m_cli.Home().string());
        }
        m_cli.Fails(strArguments, 2, test.szSentence);
    }
    fs::remove_all(m_cli.Home() / ".config");
    m_cli.Unset("QRX_SERVER");
    m_cli.Fails("codes", 2, "QRX_SERVER");
}

}  // namespace
}  // namespace qrx::test
