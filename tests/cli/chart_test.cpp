// Charts of the real qrx, drawn from a scripted server's bars and compared with pictures drawn by
// hand: four rows are eight half rows, and prices from 10 to 17 give every half row one price.
#include <mutex>

#include "cli/calculated.h"
#include "cli/market.h"
#include "cli/terminal.h"

namespace qrx::test {
namespace {

ZPMDefine_KData Bar(int nDate, int nTime, int nOpen, int nHigh, int nLow, int nClose,
                    int64_t iVolume) {
    return {nDate, nTime, nOpen * 10000, nHigh * 10000, nLow * 10000, nClose * 10000, iVolume, 0,
            0,     0};
}

class Charts : public testing::Test {
protected:
    Charts() {
        m_cli.Set("LINES", "15");
        m_cli.Set("LC_ALL", "C.UTF-8");
        m_cli.Set("TERM", "xterm");
        m_cli.Unset("NO_COLOR");
    }
    bool Handle(Peer& peer, const Message& request) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (request.head.sDataType == ID_ZPMTELE_FORMULA_CALC) {
            return peer.Answer(request, ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN,
                               m_calculated.Answer());
        }
        return peer.Answer(request, ID_ZPMTELE_DAYKDATA,
                           Answer<ZPMDefine_KData_Head>(m_vecBars, kFriday));
    }
    // What the server, which has threads of its own, answers from now on.
    void Hold(std::vector<ZPMDefine_KData> vecBars,
              std::vector<Calculated::Column> vecColumns = {}) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_calculated = {{}, {}, std::move(vecColumns)};
        for (const ZPMDefine_KData& bar : vecBars) m_calculated.vecDates.push_back(bar.nDate);
        m_vecBars = std::move(vecBars);
    }

    std::mutex m_mutex;
    std::vector<ZPMDefine_KData> m_vecBars;
    Calculated m_calculated;
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return Handle(peer, request); },
                NamedMarkets())};
    Cli m_cli{m_server.Port()};
};

TEST_F(Charts, WideCandlesWithVolumes) {
    m_cli.Set("COLUMNS", "70");
    Hold({Bar(kFriday, 0, 11, 16, 10, 14, 400), Bar(kMonday, 0, 17, 17, 12, 13, 1200)});
    ASSERT_EQ(m_cli.Run("bars 600000.SH --from 20240105 --to 20240108 --chart"), 0) << m_cli.Err();
    EXPECT_EQ(m_cli.Out(), R"(600000.SH d  from 2024-01-05 to 2024-01-08  2 bars  ┃ up  █ down
      │ ╷  ███
   15 ┤▄▄▄ ███
      │▌ ▐ ▀▀▀
   10 ┤▀▀▀
      ├───────
 1.2K ┤    ███
      │    ███
      │███ ███
      └─┬─────
        2024-01
)");
    for (const char* szRows : {"--columns time", "--tz UTC", "-o market.sqlite", "-o a.csv"}) {
        EXPECT_EQ(m_cli.Run(std::string("bars 600000.SH --from 20240105 --chart ") + szRows), 2);
    }
}

TEST_F(Charts, NarrowCandlesWithLines) {
    m_cli.Set("COLUMNS", "34");
    Hold({Bar(20240104, 0, 12, 14, 11, 13, 0), Bar(20240105, 0, 13, 16, 13, 15, 0),
          Bar(20240108, 0, 15, 17, 14, 16, 0), Bar(20240109, 0, 16, 16, 12, 13, 0),
          Bar(20240110, 0, 13, 13, 10, 11, 0), Bar(20240111, 0, 12, 15, 11, 14, 0),
          Bar(20240112, 0, 14, 14, 14, 14, 0), Bar(20240115, 0, 10, 10, 10, 10, 0)},
         {{"A", {0, 120000, 140000, 150000, 140000, 130000, 130000, 130000}},
          {"B", {0, 0, -10000, 0, 10000, 20000, 20000, 20000}}});
    const std::string strCalc = "formula calc F 600000.SH --from 20240104 --to 20240115 --chart";
    ASSERT_EQ(m_cli.Run(strCalc), 0) << m_cli.Err();
    EXPECT_EQ(m_cli.Out(), R"(600000.SH d
from 2024-01-04 to 2024-01-15
8 bars  ┃ up  █ down  • A  ◦ B
      │  ╷ ╽ ▄
   15 ┤╷ ┃ • • • ╽ ╻
      │┃ •   ▀ █ • • •
   10 ┤╵       ▀ ╵   ╻
      ├───────────────
20000 ┤          ◦ ◦ ◦
      │        ◦
      │
    0 ┤      ◦
      │    ◦
      └────┬─────────┬
           01-08     01-15
       2024
)");
    ASSERT_EQ(m_cli.Run(strCalc + " --on A"), 0) << m_cli.Err();
    EXPECT_EQ(m_cli.Out().find("◦"), std::string::npos);
    EXPECT_EQ(m_cli.Run(strCalc + " --on AA"), 2);
}

TEST_F(Charts, MergedAndPlain) {
    m_cli.Set("COLUMNS", "34");
    std::vector<ZPMDefine_KData> vecBars;
    for (int i = 0; i < 60; ++i) {  // 31 before the pause, 29 behind it
        const int nTime = i < 30 ? 93000 + i * 100 : i == 30 ? 100000 : 130000 + (i - 31) * 100;
        const int n = i < 31 ? 10 : 17;
        vecBars.push_back(Bar(kFriday, nTime, n, n, n, n, 100));
    }
    Hold(std::move(vecBars));
    const char* szPicture = R"(600000.SH 1m  on 2024-01-05
60 bars, up to 3 to a candle  o up
# down
      |           oooooooooo
   15 +
      |
   10 +ooooooooooo
      +---------------------
  300 +########## #########
      |########## ##########
      |#####################
      ++----------+---------
       09:30      13:00
       2024-01-05
)";
    const std::string strBars = "bars 600000.SH --cycle 1m --from 20240105 --chart";
    // What the terminal can do, by locale, TERM and option.
    struct Case {
        const char *szLocale, *szTerm, *szOption;
        bool bPlain;
    };
    const Case kCases[] = {{"C", "xterm", "", true},
                           {"zh_CN.GB18030", "xterm", "", true},
                           {"zh_CN.utf8", "xterm", "", false},
                           {"C.UTF-8", "dumb", "", true},
                           {"C.UTF-8", "linux", " --chart-style auto", true},
                           {"C.UTF-8", "xterm", " --chart-style ascii", true},
                           {"C", "dumb", " --chart-style unicode", false}};
    for (const Case& test : kCases) {
        m_cli.Set("LC_ALL", test.szLocale);
        m_cli.Set("TERM", test.szTerm);
        ASSERT_EQ(m_cli.Run(strBars + test.szOption), 0) << m_cli.Err();
        EXPECT_EQ(m_cli.Out() == szPicture, test.bPlain) << m_cli.Out();
    }
}

// On a terminal of its own width, whatever the number of bars; colours unless they are unwanted.
TEST_F(Charts, FitsTheWindow) {
    m_cli.Set("LINES", "20");
    for (const int nColumns : {34, 60, 181}) {
        for (const size_t nBars : {1U, 7U, 100U, 1000U}) {
            for (const char* szNoColour : {"", "1"}) {
                Hold(std::vector<ZPMDefine_KData>(nBars, Bar(kFriday, 93000, 10, 17, 10, 12, 1)));
                m_cli.Set("NO_COLOR", szNoColour);
                Terminal window({QRX_BUILD_DIR "/qrx", "bars", "600000.SH", "--cycle", "1m",
                                 "--from", "20240105", "--chart"},
                                m_cli, nColumns);
                const std::string strOut = window.Type("");
                ASSERT_EQ(window.Wait(), 0) << strOut;
                EXPECT_EQ(strOut.find('\033') == std::string::npos, *szNoColour != '\0');
                int nMost = 0;
                int nNow = 0;
                bool bEscape = false;
                for (const char ch : strOut) {
                    if (ch == '\n') nNow = 0;
                    if (ch == '\033') bEscape = true;
                    const bool bShown = !bEscape && ch != '\r' && ch != '\n' && (ch & 0xC0) != 0x80;
                    nNow += bShown ? 1 : 0;
                    if (ch == 'm') bEscape = false;
                    nMost = std::max(nMost, nNow);
                }
                EXPECT_LE(nMost, nColumns) << strOut;
                EXPECT_TRUE(nBars < 1000 || nMost > nColumns / 2) << strOut;
            }
        }
    }
}

}  // namespace
}  // namespace qrx::test
