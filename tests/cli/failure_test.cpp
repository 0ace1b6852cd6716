// How commands end: exit codes and sentences, nothing half-written, interrupts, closed pipes.
#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <regex>

#include "cli/database.h"
#include "cli/market.h"
#include "cli/terminal.h"
#include "support/deadline.h"

namespace qrx::test {
namespace {

void EndsByInterrupt(Cli& cli, int nSignal = SIGINT) {
    const int64_t nBegin = Deadline::NowMs();
    cli.Signal(nSignal);
    EXPECT_EQ(cli.Wait(), 130);
    EXPECT_LT(Deadline::NowMs() - nBegin, 1000);
}

class Ending : public testing::Test {
protected:
    // Friday is answered; what Monday's request meets is the test's to say.
    enum class OnMonday { Answered, Cut, Stalled };

    bool Handle(Peer& peer, const Message& request) {
        if (request.head.sDataType == ID_ZPMTELE_REQ_SAVEDATA &&
            request.As<ZPMDefine_RequestSaveData>().nDate == kMonday) {
            if (m_monday == OnMonday::Cut) return false;
            if (m_monday == OnMonday::Stalled) {
                m_bStalling = true;
                peer.WaitForEnd();
                return false;
            }
        }
        return m_market(peer, request);
    }
    void InterruptWhenStalled(const std::string& strArguments) {
        m_monday = OnMonday::Stalled;
        m_cli.Start(strArguments);
        while (!m_bStalling) usleep(1000);
        EndsByInterrupt(m_cli);
    }
    bool FolderEmpty() const { return fs::is_empty(m_cli.Folder()); }

    std::atomic<OnMonday> m_monday{OnMonday::Answered};
    std::atomic<bool> m_bStalling{false};
    Market m_market;
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return Handle(peer, request); },
                NamedMarkets())};
    Cli m_cli{m_server.Port()};
};

TEST_F(Ending, CodesAndSentences) {
    constexpr Failing kCases[] = {
        {"", 2, "a command is needed, such as qrx codes; see qrx --help"},
        {"tick 600000.SH", 2, "qrx has no command \"tick\"; the nearest is \"ticks\"; see"},
        {"help", 2, "qrx has no command \"help\"; see qrx --help"},
        {"formula lst", 2, "qrx formula has no command \"lst\"; the nearest is \"list\""},
        {"ticks 600000.SH --form=20240105", 2,
         "qrx ticks has no option \"--form\"; the nearest is \"--from\""},
        {"ticks 600000.SH --colums time", 2, "the nearest is \"--columns\""},
        {"calc", 2, "qrx has no command \"calc\"; it is \"formula calc\"; see qrx --help"},
        {"-x", 2, "qrx has no option \"-x\"; see qrx --help"},
        {"ticks 600000.SH -x", 2, "qrx ticks has no option \"-x\"; see qrx ticks --help"},
        {"ticks 600000.SH 600519.SH", 2,
         "qrx ticks takes one CODE, and \"600519.SH\" is one word too many; write a command for "
         "each, or qrx export for several.\n"},
        {"codes SH SZ", 2,
         "takes one MARKET, and \"SZ\" is one word too many; write a command for each.\n"},
        {"formula calc A 600000.SH -", 2, "takes one NAME and one CODE, and \"-\" is one word"},
        {"formula list A", 2, "qrx formula list takes no words; leave \"A\" out.\n"},
        {"codes --limit 1 --limit 2", 2, "--limit is given 2 times; write it once.\n"},
        {"codes --columns code --columns name", 2, "write it once, as --columns A,B.\n"},
        {"ticks 600000.SH --to", 2, "--to lacks its value DATE: last trading day"},
        {"ticks 600000.SH -o x.xlsx", 2, "-o: no rows are written as .xlsx; name the file such as"},
        {"ticks 600000.SH", 3, " (today); give another day with --from"},
        {"ticks", 2, "CODE"},
        {"ticks 600000.SH --from 20230229", 2, "--from: there is no day 20230229"},
        {"ticks 600000.SH --from 2023-13-01", 2, "there is no day"},
        {"ticks 600000.SH --to tomorrow", 2, "--to: \"tomorrow\" is not a date"},
        {"ticks 600000.SH --from 20240105 --to 20240104", 2, "is before --from 2024-01-05"},
        {"ticks 600000.SH --begin 9:30", 2, "--begin: \"9:30\" is not a time"},
        {"ticks 600000.SH --begin 09:60", 2, "--begin"},
        {"ticks 600000.SH --begin 10:00 --end 09:59", 2, "--end 09:59 is before --begin"},
        {"ticks 600000.SH --columns pric", 2, "nearest is \"price\""},
        {"ticks 600000.SH --limit 0", 2, "--limit"},
        {"ticks 600000.SH -f xml", 2, "table|csv|jsonl|sqlite"},
        {"ticks 600000.SH -f sqlite", 2, "-o market.sqlite"},
        {"ticks 600000.SH --tz new_yrok", 2, "the nearest is \"America/New_York\""},
        {"ticks 600000.SH --tz ../../etc/passwd", 2, "--tz: there is no zone"},
        {"ticks 600000.SH --tz UTC --raw", 2, "give one of them"},
        {"ticks 600000.SH --price-unit 30", 2, "power of ten"},
        {"ticks 600000.SH --server 127.0.0.1:99999", 2, "no port"},
        {"ticks 600000.SH --proxy socks6://a:1", 2, "--proxy"},
        {"ticks 600000.SH --proxy socks5://u:p@a:1", 2, "QRX_PROXY_PASSWORD"},
        {"codes --encoding nonesuch", 2, "--encoding"},
        {"bars 600000.SH --cycle 121m", 2, "--cycle"},
        {"bars 600000.SH --cycle d --complete", 2, "--complete"},
        {"bars 600000.SH --adjust-volume", 2, "--adjust-volume goes with --adjust forward or"},
        {"bars 600000.SH --chart-style ascii", 2, "--chart-style goes with --chart"},
        {"formula calc A 600000.SH --on A", 2, "--on goes with --chart"},
        {"formula add MACD", 2, "--text"},
        {"trades 600000.SH --from 20240104", 3, "no trades of 600000.SH on 2024-01-04"},
        {"trades 600000.SH --from 20240106 --to 20240107", 3, "no trades"},
        {"codes --search zzz", 3, "\"zzz\""},
        {"ticks 600000", 4,
         "lacks its market, such as 600000.SH; did you mean 600000.SH (\u6D66\u53D1\u94F6\u884C), "
         "600000.SZ (other)?\n"},
        {"ticks 600000.SS", 4, "no security 600000.SS: you have no market SS, only SH, SHF, SZ"},
        // Of equally near ones those of the market that was typed come first.
        {"ticks 60000.SZ", 4, "no security 60000.SZ; did you mean 600000.SZ (other), 600000.SH"},
        {"ticks 60001.SH", 4, "600010.SH"},
        {"ticks \u5305\u94A2", 4, "did you mean 600010.SH (\u5305\u94A2)?"},
        {"codes XX", 4, "only SH SHF SZ"},
        {"codes --server 127.0.0.1:1", 6, "cannot connect to 127.0.0.1:1"},
        {"codes --server nonesuch.invalid", 6, "nonesuch.invalid has no IPv4 address"},
        {"ticks cu1701.SHF", 8,
         "qrx: cu1701.SHF is a future, which has no ticks; use qrx futures.\n"},
        {"futures 600000.SH --book", 8,
         "qrx: 600000.SH is a security, which has no snapshots; use qrx ticks.\n"},
        {"codes -o missing/codes.csv", 9, "missing/codes.csv"},
        {"codes -o /dev/full", 9, "/dev/full"},
        {"codes -o missing/codes.sqlite", 9, "missing/codes.sqlite"},
        {"bars 600000.SH --cycle 1m --complete --server 127.0.0.1:1", 6, "cannot connect"},
    };
    for (const auto& [szArguments, nExit, szSentence] : kCases) {
        m_cli.Fails(szArguments, nExit, szSentence);
        EXPECT_EQ(m_cli.Err().find('\n'), m_cli.Err().size() - 1) << m_cli.Err();
        EXPECT_EQ(m_cli.Out(), "") << szArguments;
    }
    EXPECT_TRUE(FolderEmpty());
}

// A clock at UTC+14 or at UTC-12 shows another date than one at UTC+8, whatever the hour.
TEST_F(Ending, TodayIsTheDateAtTheExchange) {
    const auto at = [](const char* szFormat) {
        const time_t nTime = time(nullptr) + time_t{8} * 3600;
        char szText[16];
        tm parts{};
        strftime(szText, sizeof szText, szFormat, gmtime_r(&nTime, &parts));
        return std::string(szText);
    };
    m_cli.Set("TZ", at("%H") >= "19" ? "EAST-14" : "WEST12");
    const std::string strBefore = at("%Y-%m-%d");
    ASSERT_EQ(m_cli.Run("orders 600000.SH"), 3) << m_cli.Err();
    const std::string strAfter = at("%Y-%m-%d");  // midnight may have passed
    const size_t nDate = m_cli.Err().find("20");
    const std::string strAsked = m_cli.Err().substr(std::min(nDate, m_cli.Err().size()), 10);
    EXPECT_TRUE(strAsked == strBefore || strAsked == strAfter) << strBefore << m_cli.Err();
    for (const int nDay : m_market.Days()) {  // none at a weekend
        EXPECT_EQ(std::to_string(nDay),
                  strAsked.substr(0, 4) + strAsked.substr(5, 2) + strAsked.substr(8));
    }
}

// More than a sentence holds are counted, the better matches before the others.
TEST(Ambiguous, SaysHowManyAndWhereTheyAre) {
    ScriptedServer server(
        Serving([](Peer&, const Message&) { return false; },
                {{"DCE", {{"c2403", 112, "corn"}, {"x1", 112, "no"}, {"a2403", 112, "bean"}}},
                 {"SHF", {{"cu2403", 112, "cu"}, {"2403", 16, "whole"}, {"24031", 16, "begins"}}},
                 {"SZ", {{"7", 16, "of 2403"}}}}));
    Cli cli(server.Port());
    EXPECT_EQ(cli.Run("ticks 2403"), 4);
    EXPECT_EQ(cli.Err(),
              "qrx: CODE: \"2403\" lacks its market, such as 600000.SH; 6 match: 2403.SHF (whole), "
              "24031.SHF (begins), c2403.DCE (corn), a2403.DCE (bean), cu2403.SHF (cu), ...; "
              "qrx codes --search 2403 shows them all.\n");
    ASSERT_EQ(cli.Run("codes --search 2403 -f csv"), 0);
    EXPECT_EQ(std::ranges::count(cli.Out(), '\n'), 1 + 6);
}

// Files and databases stay as they were; new ones do not appear.
TEST_F(Ending, ALostConnectionChangesNoFile) {
    m_monday = OnMonday::Cut;
    for (const std::string strFile : {"rows.csv", "rows.sqlite"}) {
        SCOPED_TRACE(strFile);
        const std::string strDays = "orders 600000.SH --from 20240105 --to 20240109 -o " + strFile;
        EXPECT_EQ(m_cli.Run(strDays), 6);
        EXPECT_TRUE(FolderEmpty());
        ASSERT_EQ(m_cli.Run("trades 600000.SH --from 20240105 -o " + strFile), 0) << m_cli.Err();
        const std::string strBefore = ReadAll(m_cli.Folder() / strFile);
        EXPECT_EQ(m_cli.Run(strDays), 6);
        EXPECT_EQ(ReadAll(m_cli.Folder() / strFile), strBefore);
        EXPECT_EQ(std::distance(fs::directory_iterator(m_cli.Folder()), {}), 1);
        fs::remove(m_cli.Folder() / strFile);
    }
}

TEST_F(Ending, TimesOut) {
    m_monday = OnMonday::Stalled;
    m_cli.Fails("orders 600000.SH --from 20240108 --timeout 1", 7, "within 1 seconds");
}

TEST_F(Ending, AnInterruptLeavesNothing) {
    InterruptWhenStalled("orders 600000.SH --from 20240105 --to 20240109 -o rows.csv");
    EXPECT_TRUE(FolderEmpty());
    EXPECT_EQ(m_cli.Err(), "");
}

TEST_F(Ending, AnInterruptedExportKeepsWhatItsDatabaseHolds) {
    const std::string strExport =
        "export 600000.SH --kinds orders --from 20240104 --to 20240109 -f sqlite -o x";
    InterruptWhenStalled(strExport);
    EXPECT_EQ(m_cli.Err(), "qrx: interrupted; the same command goes on from here.\n");
    const fs::path rows = m_cli.Folder() / "x/data.sqlite";
    EXPECT_EQ(Rows(rows, "SELECT date FROM orders"), "2024-01-05\n");
    m_monday = OnMonday::Answered;
    EXPECT_EQ(m_cli.Run(strExport), 0) << m_cli.Err();
    EXPECT_EQ(Rows(rows, "SELECT date FROM orders ORDER BY 1"), "2024-01-05\n2024-01-08\n");
    EXPECT_EQ(m_market.Days(), (std::vector<int>{20240104, kFriday, kMonday, 20240109}));
}

TEST(Interrupt, EndsALoginThatIsNotAnswered) {
    std::atomic<bool> bAsked{false};
    ScriptedServer server([&](Peer& peer) {
        Message request;
        bAsked = peer.Receive(request);
        peer.WaitForEnd();
    });
    Cli cli(server.Port());
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(nSignal);
        bAsked = false;
        cli.Start("codes -o codes.csv");
        while (!bAsked) usleep(1000);
        EndsByInterrupt(cli, nSignal);
        EXPECT_TRUE(fs::is_empty(cli.Folder()));
    }
}

// Many more rows than a pipe holds: the command is inside a write when its reader goes, or when
// the interrupt comes.
class Flood : public testing::Test {
protected:
    static constexpr int kRows = 100000;
    ScriptedServer m_server{Serving([](Peer& peer, const Message& request) {
        const std::vector<ZPMDefine_Order_v2> vecOrders(kRows);
        return peer.Answer(request, ID_ZPMTELE_ORDER_V2,
                           Answer<ZPMDefine_SaveData_Head>(vecOrders, kFriday));
    })};
    Cli m_cli{m_server.Port()};

    // The reading end, from which some bytes have come.
    int StartIntoPipe() {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) return -1;
        m_cli.Start("orders 600000.SH --from 20240105 -f csv", fds[1]);
        close(fds[1]);
        char bytes[100];
        EXPECT_GT(read(fds[0], bytes, sizeof bytes), 0);
        return fds[0];
    }
};

TEST_F(Flood, AReaderThatGoesIsNoError) {
    close(StartIntoPipe());
    EXPECT_EQ(m_cli.Wait(), 0);
    EXPECT_EQ(m_cli.Err(), "");
}

TEST_F(Flood, AReaderThatSleepsDoesNotHoldAnInterrupt) {
    const int fd = StartIntoPipe();
    usleep(200000);
    EndsByInterrupt(m_cli);
    close(fd);
}

// Everything that a terminal changes, in one session: the prompt without echo, then progress. Each
// of the two days is answered when the screen has shown what there is to say before it.
TEST(Terminal, AsksForThePasswordAndShowsProgress) {
    constexpr int kRows = 1000;
    std::atomic<bool> bPassword = false;  // as it was typed
    std::atomic<int> nLastDay = 0;        // that may be answered
    const auto market = NamedMarkets();
    ScriptedServer server([&](Peer& peer) {
        Message request;
        while (peer.Receive(request)) {
            if (request.head.sDataType == ID_ZPMTELE_LOGIN) {
                bPassword = request.strBody.substr(16, 7) == std::string("secret", 7);
                peer.Answer(request, ID_ZPMTELE_LOGIN_ANSWER, LoginAnswer({market[0]}));
            } else if (request.head.sDataType == ID_ZPMTELE_REQ_CODETABLE) {
                peer.Answer(request, ID_ZPMTELE_CODETABLE, CodeTableAnswer(market[0]));
            } else {
                const int nDay = request.As<ZPMDefine_RequestSaveData>().nDate;
                while (nLastDay < nDay) usleep(1000);
                const std::vector<ZPMDefine_Order_v2> vecOrders(
                    nDay == kFriday ? kRows : 1, {93002000, 55, 8, 'A', 'S', 71400, 900});
                peer.Answer(request, ID_ZPMTELE_ORDER_V2,
                            Answer<ZPMDefine_SaveData_Head>(vecOrders, nDay));
            }
        }
    });
    Cli cli(server.Port());
    cli.Unset("QRX_PASSWORD");
    Terminal terminal({QRX_BUILD_DIR "/qrx", "orders", "600000.SH", "--from", "20240105", "--to",
                       "20240108", "-f", "csv", "--columns", "date,volume"},
                      cli);
    std::string strScreen = terminal.Type("", "Password of user: ");
    strScreen += terminal.Type("secret\n", "passed");
    nLastDay = kFriday;
    strScreen += terminal.Type("", "left");
    nLastDay = kMonday;
    strScreen += terminal.Type("");
    EXPECT_EQ(terminal.Wait(), 0);
    EXPECT_TRUE(bPassword);
    EXPECT_EQ(strScreen.find("secret"), std::string::npos) << strScreen;
    EXPECT_NE(strScreen.find("\r0 of 2 days, 0 rows, 0 rows/s, 0:0"), std::string::npos)
        << strScreen;
    // The second day will take as long as the first took, which was all the time so far.
    std::smatch match;
    ASSERT_TRUE(std::regex_search(
        strScreen, match,
        std::regex("\r1 of 2 days, 1000 rows, (\\d+) rows/s, 0:(\\d\\d) left\033")))
        << strScreen;
    const double dRate = std::stod(match[1]);
    const double dLeft = std::stod(match[2]);
    EXPECT_GE(dLeft, 2) << strScreen;  // nothing is shown before
    EXPECT_GE(dRate, kRows / (dLeft + 0.5) - 1) << strScreen;
    EXPECT_LE(dRate, kRows / (dLeft - 0.5) + 1) << strScreen;
    // The line is gone before rows are written.
    EXPECT_NE(strScreen.find("\r\033[Kdate,volume\r\n2024-01-05,900\r\n"), std::string::npos)
        << strScreen;
    EXPECT_TRUE(strScreen.ends_with("\r\033[K2024-01-08,900\r\n")) << strScreen;
}

}  // namespace
}  // namespace qrx::test
