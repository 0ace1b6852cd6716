// The doctor's way: how far it gets, which step has the cross, and the exit code.
#include <gtest/gtest.h>

#include "cli/market.h"
#include "cli/served_market.h"

namespace qrx::test {
namespace {

class Doctor : public ServedMarket {
protected:
    void SetUp() override {
        ServedMarket::SetUp();
        m_cli.Set("LC_ALL", "C");
    }
    // Marks and steps: "ok settings ok address no network".
    std::string Steps() const {
        std::istringstream lines(m_cli.Out());
        std::string strSteps;
        for (std::string strLine; std::getline(lines, strLine);) {
            std::istringstream words(strLine);
            std::string strMark, strStep;
            words >> strMark >> strStep;
            if (strLine[0] != ' ') strSteps += strMark + " " + strStep + " ";
        }
        return strSteps;
    }
};

TEST_F(Doctor, StopsAtTheFirstCross) {
    // A proxy that takes everybody and plays the server behind itself; one that takes nobody; a
    // port where nobody speaks; a server that goes with the sixth request for bars, the first that
    // is not for the time it takes.
    Market market;
    std::atomic<int> nBars{0};
    const auto noBars = [&](Peer& peer, const Message& request) {
        if (request.head.sDataType != ID_ZPMTELE_REQ_KDATA) return market(peer, request);
        ++nBars;
        return peer.Answer(request, ID_ZPMTELE_DAYKDATA,
                           Answer<ZPMDefine_KData_Head>(std::vector<ZPMDefine_KData>(), 0));
    };
    ScriptedServer proxy([&](Peer& peer) {
        char bytes[10];
        peer.Read(bytes, 3);
        peer.Send(std::string("\5\0", 2));
        peer.Read(bytes, 10);
        peer.Send(std::string("\5\0\0\1\0\0\0\0\0\0", 10));
        Serving(noBars, NamedMarkets())(peer);
    });
    ScriptedServer leaver(Serving(
        [&](Peer& peer, const Message& request) { return nBars < 5 && noBars(peer, request); },
        NamedMarkets()));
    ScriptedServer gate([](Peer& peer) { peer.Cut(); });
    ScriptedServer mute([](Peer& peer) { peer.WaitForEnd(); });
    const auto at = [](const ScriptedServer& server) {
        return "127.0.0.1:" + std::to_string(server.Port());
    };
    const std::string strLoggedIn = "ok settings ok address ok network ok login ok markets ";
    struct Case {
        std::string strArguments;
        int nExit;
        std::string strSteps;
        const char* szText;
    };
    const Case kCases[] = {
        {"", 0, strLoggedIn + "ok answers ok speed ", " ticks of 600000.SH on 2024-01-08 in "},
        {"CU2403.SHF --date 20240105", 0, strLoggedIn + "ok answers ok speed ",
         " snapshots of cu2403.SHF on 2024-01-05 in "},
        {"", 0, strLoggedIn + "ok answers ok speed ", "SH (4 securities), SHF (6 securities)"},
        {"--date 20240106", 3, strLoggedIn + "ok answers no speed ", "no day with data of 600000"},
        {"60000.SH", 4, strLoggedIn + "no security ", "no security 60000.SH"},
        {"--password-file none", 2, "no settings ", "there is no file none"},
        {"--date today --server nonesuch.invalid", 6, "ok settings no address ",
         "nonesuch.invalid"},
        {"--server 127.0.0.1:1", 6, "ok settings ok address no network ", "nothing listens there"},
        {"--user other", 5, "ok settings ok address ok network no login ", "check user and pass"},
        {"--timeout 1 --server " + at(mute), 7, "ok settings ok address ok network no login ",
         "takes connections and is silent"},
        {"--server " + at(gate), 6, "ok settings ok address ok network no login ", "--server"},
        {"--proxy socks5://" + at(gate), 6, "ok settings ok address ok network no proxy ",
         "QRX_PROXY_PASSWORD"},
        {"--proxy socks5://127.0.0.1:1", 6, "ok settings ok address no network ", "127.0.0.1:1"},
        {"--server " + at(leaver), 6, strLoggedIn + "ok answers no speed ", " was lost"},
        {"600000.SH --date 20240105 --server 127.0.0.9:9 --proxy socks5://localhost:" +
             std::to_string(proxy.Port()),
         0, "ok settings ok address ok network ok proxy ok login ok markets ok answers ok speed ",
         "passes the connection on to 127.0.0.9:9"}};
    for (const Case& test : kCases) {
        EXPECT_EQ(m_cli.Run("doctor " + test.strArguments), test.nExit) << test.strArguments;
        EXPECT_EQ(Steps(), test.strSteps) << test.strArguments << "\n" << m_cli.Out();
        EXPECT_NE(m_cli.Out().find(test.szText), std::string::npos) << m_cli.Out();
        EXPECT_EQ(m_cli.Err(), "");
    }
}

TEST_F(Doctor, DrawsWhatTheTerminalShows) {
    for (const auto& [szLocale, szTerm, szMark] : {std::tuple{"C.UTF-8", "xterm", "\u2713"},
                                                   {"C.UTF-8", "dumb", "ok"},
                                                   {"C", "xterm", "ok"}}) {
        m_cli.Set("LC_ALL", szLocale);
        m_cli.Set("TERM", szTerm);
        m_cli.Run("doctor --server 127.0.0.1:1");
        EXPECT_EQ(m_cli.Out().find(szMark + std::string("  settings  ").substr(szMark[0] == 'o')),
                  0U)
            << m_cli.Out();
    }
}

}  // namespace
}  // namespace qrx::test
