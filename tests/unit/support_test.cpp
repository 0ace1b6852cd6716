// Dates, times, waits and the assertion's line.
#include <errno.h>
#include <gtest/gtest.h>

#include "session/code_table.h"
#include "session/data_source.h"
#include "support/assertion.h"
#include "support/date_time.h"
#include "support/deadline.h"
#include "support/diagnostics.h"
#include "support/lock.h"

namespace {

using namespace BusinessConvertor;

TEST(DateTime, StepsOnMonthsOf31Days) {
    const int kNext[][2] = {{20141231, 20150101},
                            {20140430, 20140431},
                            {20140228, 20140229},
                            {20140231, 20140301},
                            {20140131, 20140201}};
    for (const auto& c : kNext) {
        EXPECT_EQ(GetNextYYMMDD(c[0]), c[1]);
        EXPECT_EQ(GetPrevYYMMDD(c[1]), c[0]);
    }
    EXPECT_EQ(GetDiffDay(20140105, -3), 20140102);
    EXPECT_EQ(GetDiffDay(20140105, 0), 20140105);
    EXPECT_EQ(GetDiffDay(20140301, -15), 20140217);
}

TEST(DateTime, WeekDays) {
    const int kCases[][2] = {{20140101, 3}, {20140105, 0}, {20000229, 2}, {20261124, 2},
                             {20140013, 8}, {0, 8},        {20141301, 8}, {20140132, 8}};
    for (const auto& c : kCases) EXPECT_EQ(GetDayOfWeek(c[0]), c[1]) << c[0];
    EXPECT_LE(GetDayOfWeek(20140231), 6);
}

TEST(DateTime, ClockTimes) {
    EXPECT_EQ(HHMMSSmmm2MiniSeconds(93000000), 34200000);
    EXPECT_EQ(MiniSeconds2HHMMSSmmm(34200000), 93000000);
    EXPECT_EQ(MiniSeconds2HHMMSSmmm(90000000), 250000000);
    EXPECT_EQ(GetDiffTime(235959000, 2000), 240001000);
    EXPECT_EQ(HHMMSS2Seconds(150000), 54000);
    EXPECT_EQ(Seconds2HHMMSS(54000), 150000);
    const int kAdd[][3] = {{235959000, 2000, 1000},     {235959500, 1000, 500},
                           {113000000, 500, 113000500}, {145959500, 500, 150000000},
                           {235959999, 1, 0},           {235959500, 500, 0}};
    for (const auto& c : kAdd) EXPECT_EQ(CFAlign::TimeAdd(c[0], c[1]), c[2]);
    DateTimeInfo info;
    info.nDay = 25;
    info.nHour = info.nMinute = info.nSecond = info.nMillisecond = 0;
    EXPECT_EQ(info.ToTick(), -2134967296);  // 25 * 86400000 - 2^32
}

TEST(Codes, NumbersAndForms) {
    EXPECT_STREQ(GetMarketNameById(11), "SHF");
    EXPECT_EQ(GetMarketNameById(4), nullptr);
    EXPECT_EQ(GetMarketIdByName("DCE"), 13);
    EXPECT_EQ(GetMarketIdByName("sh"), -1);
    EXPECT_STREQ(GetMSGDescrip(1037), "unknown message");
    EXPECT_STREQ(GetMSGDescrip(1030), "ID_ZPMTELE_TRANSACTION");
    EXPECT_TRUE(MarketDataSource::IsSupportRequestID(103));
    EXPECT_FALSE(MarketDataSource::IsSupportRequestID(1048));
    const char* kCases[][3] = {{"CU1701", "SHF", "cu1701"}, {"imci", "SHF", "IMCI"},
                               {"sr705", "czc", "SR705"},   {"JM1705", "DCE", "jm1705"},
                               {"if1701", "CF", "IF1701"},  {"aB", "HK", "aB"}};
    for (const auto& c : kCases) {
        char szCode[8] = {};
        char szMarket[4] = {};
        strncpy(szMarket, c[1], 3);
        NormalizeCode(szCode, 8, c[0], 8, szMarket, 4);
        EXPECT_STREQ(szCode, c[2]);
    }
    const char chFull[8] = {'i', 'o', '1', '7', '0', '1', '-', 'c'};
    EXPECT_EQ(GetVelaCode(chFull, 8, "CF\0\0", 4), "IO1701-C.CF");
    char szCode[8] = {};
    char szMarket[4] = {};
    VelaCode2GQCode(szCode, 8, szMarket, 4, "A.B.SHFE", 32);
    EXPECT_STREQ(szCode, "A.B");
    EXPECT_EQ(memcmp(szMarket, "SHFE", 4), 0);
    EXPECT_DEATH(VelaCode2GQCode(szCode, 8, nullptr, 0, "600000", 32),
                 "BusinessConverter:[0-9]+: .*Assertion `nDotPos!=std::string::npos' failed\\.");
}

TEST(Waits, ANotificationIsRememberedOnce) {
    AutoLock lock;
    CondVar cond;
    const LockGuard guard(lock);
    cond.Notify();
    cond.Notify();
    EXPECT_EQ(cond.WaitTime(lock, 1000), 0);
    const int64_t nStart = qrx::Deadline::NowMs();
    EXPECT_EQ(cond.WaitTime(lock, 50), ETIMEDOUT);
    EXPECT_GE(qrx::Deadline::NowMs() - nStart, 49);
    EXPECT_DEATH(AutoLock(static_cast<AutoLock::LOCK_TYPE>(3)),
                 "Lock:[0-9]+: .*`lock_type<sizeof\\(nTypeTrans\\)/sizeof\\(nTypeTrans\\[0\\]\\)'");
}

TEST(Waits, ASleepTakesItsRestAndEndsAtTheNextSlice) {
    std::atomic<int> nQuit{0};
    int64_t nStart = qrx::Deadline::NowMs();
    AwakableSleep(70, 40, &nQuit);
    EXPECT_GE(qrx::Deadline::NowMs() - nStart, 69);
    nQuit = 1;
    nStart = qrx::Deadline::NowMs();
    AwakableSleep(100000, 500, &nQuit);
    EXPECT_LT(qrx::Deadline::NowMs() - nStart, 400);
}

TEST(Diagnostics, LineAndItsSecondFormatting) {
    testing::internal::CaptureStderr();
    ErrPrint("%d of 100%%%%\n", 7);
    const std::string strLine = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::equal(strLine.begin(), strLine.begin() + 4, "TID:")) << strLine;
    EXPECT_NE(strLine.find(", Time: "), std::string::npos);
    EXPECT_EQ(strLine.substr(strLine.rfind(": ")), ": 7 of 100%\n");
}

}  // namespace
