// Bars and futures through the command line: what is asked, and what is shown.
#include <algorithm>
#include <atomic>

#include "cli/market.h"

namespace qrx::test {
namespace {

// Answers bars and snapshots, and keeps the requests.
class BarsAndFutures : public testing::Test {
protected:
    bool Handle(Peer& peer, const Message& request) {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_requests.push_back(request);
        }
        if (request.head.sDataType == ID_ZPMTELE_REQ_KDATA) {
            const ZPMDefine_KData bar = {kFriday, m_nBarTime, 71200,    71500, 71100,
                                         71300,   400,        28520000, 3,     0};
            return peer.Answer(request, ID_ZPMTELE_DAYKDATA,
                               Answer<ZPMDefine_KData_Head>(std::vector{bar}, kFriday));
        }
        ZPMDefine_Future_Head head{};
        head.nDayRef1 = 451000;
        head.nDayRef2 = 452000;
        head.nDayRef3 = 90;
        const ZPMDefine_Future_Night snapshot = {
            kFriday, m_nSnapshotTime, 450000, 5, 22500000, 91, 'B', 450100, 450200, 450300, 0, -12};
        return peer.Answer(request, ID_ZPMTELE_FUTURE, AnswerBody(head, std::vector{snapshot}));
    }
    ZPMDefine_RequestKData Asked() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_requests.empty() ? ZPMDefine_RequestKData{}
                                  : m_requests.back().As<ZPMDefine_RequestKData>();
    }
    size_t Requests() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_requests.size();
    }
    // The command is refused with a sentence about the grid.
    void Refused(const std::string& strArguments, const char* szSentence) {
        m_cli.Fails(strArguments + " --complete --from 20240105", 12, szSentence);
    }
    // Lines of the command's table: a header and every place of the grid.
    std::ptrdiff_t Completed(const std::string& strArguments) {
        EXPECT_EQ(m_cli.Run(strArguments + " --complete --from 20240105 --columns time -f csv"), 0)
            << m_cli.Err();
        return std::ranges::count(m_cli.Out(), '\n');
    }

    // Shared with the server's threads.
    std::atomic<int> m_nBarTime{93100};
    std::atomic<int> m_nSnapshotTime{93000500};
    std::mutex m_mutex;
    std::vector<Message> m_requests;
    ScriptedServer m_server{
        Serving([this](Peer& peer, const Message& request) { return Handle(peer, request); },
                [] {
                    std::vector<TestMarket> vecMarkets = NamedMarkets();
                    vecMarkets.push_back({"HK", {{"00001", 16}}});
                    return vecMarkets;
                }())};
    Cli m_cli{m_server.Port()};
};

TEST_F(BarsAndFutures, BarsAsAskedAndShown) {
    ASSERT_EQ(m_cli.Run("bars 600000.SH --cycle 5m --from 20240105 --to 20240108 --adjust forward "
                        "--adjust-date 20240101 --adjust-volume -f csv"),
              0)
        << m_cli.Err();
    EXPECT_EQ(m_cli.Out(),
              "code,date,time,open,high,low,close,volume,turnover,trades,open_interest\n"
              "600000.SH,2024-01-05,09:31:00.000,7.1200,7.1500,7.1100,7.1300,400,2852.0000,3,0\n");
    const auto asked = Asked();
    EXPECT_EQ(asked.nModeFlag, 1);
    EXPECT_EQ(asked.nModeDate, 20240101);
    EXPECT_EQ(asked.nModeSwitch, 1);
    EXPECT_EQ(asked.nCycType, 0);  // the server's code of minutes
    EXPECT_EQ(asked.nCycDef, 5);
    EXPECT_EQ(asked.nBeginDate, kFriday);
    EXPECT_EQ(asked.nEndDate, kMonday);

    // The server's codes of the cycles.
    const std::pair<const char*, int> kCycles[] = {
        {"30s", 11}, {"d", 7}, {"w", 8}, {"month", 9}, {"quarter", 4}, {"half", 5}, {"y", 6}};
    for (const auto& [szCycle, nCode] : kCycles) {
        EXPECT_EQ(m_cli.Run(std::string("bars 600000.SH --from 20240105 --cycle ") + szCycle), 0);
        EXPECT_EQ(Asked().nCycType, nCode) << szCycle;
    }
}

TEST_F(BarsAndFutures, CompletionIsRefusedBeforeItStopsTheProcess) {
    Refused("bars 00001.HK --cycle 1m",
            "HK has no session grid; only SH, SZ, CF, SHF, CZC, DCE have one");
    m_nBarTime = 85900;
    Refused("bars 600000.SH --cycle 1m", "2024-01-05, record 1 at 08:59:00.000: the first bar");
    m_nBarTime = 93100;
    // 240 bars of one minute in two sessions of two hours.
    EXPECT_EQ(Completed("bars 600000.SH --cycle 1m"), 241);
    EXPECT_EQ(Completed("futures CU1701.SHF"), 28804);
    m_nSnapshotTime = 84900000;
    Refused("futures CU1701.SHF", "2024-01-05: no record at or after the start of the pre-open");
}

TEST_F(BarsAndFutures, SnapshotsDayByDay) {
    ASSERT_EQ(m_cli.Run("futures CU1701.SHF --from 20240105 --to 20240106 -f csv"), 0)
        << m_cli.Err();
    EXPECT_EQ(m_cli.Out(),
              "code,date,time,price,volume,turnover,open_interest,side,open,high,low,settle,delta,"
              "acc_volume,acc_turnover,prev_settle,prev_close,prev_open_interest\n"
              "CU1701.SHF,2024-01-05,09:30:00.500,45.0000,5,2250.0000,91,B,45.0100,45.0200,45.0300,"
              "0.0000,-0.0012,5,2250.0000,45.1000,45.2000,90\n");
    EXPECT_EQ(Requests(), 1U);
}

}  // namespace
}  // namespace qrx::test
