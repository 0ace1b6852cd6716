// The calendar of bars against worked numbers and against the standard library's calendar.
#include "kline/bar_calendar.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include "kline/plain_grid.h"
#include "session/data_source.h"

namespace qrx::test {
namespace {

// clang-format off
TEST(BarCalendar, StepsDays) {
    struct Case { int nDate, nDays; bool bSkip; int nResult; };
    for (const Case& c : {
             Case{20140103, 1, true, 20140106}, {20140103, 1, false, 20140104},
             {20140106, -1, true, 20140103}, {20140106, -6, true, 20131227},
             {20140104, 0, true, 20140104}, {20140231, 0, false, 20140303},
             {20140231, 1, false, 20140304}, {20140104, 2, true, 20140107}}) {
        EXPECT_EQ(GetDiffDay(c.nDate, c.nDays, c.bSkip), c.nResult) << c.nDate << " " << c.nDays;
    }
    // Wild dates of a peer give some date.
    for (const int nDate : {0, -1, 99999999, INT32_MAX, INT32_MIN}) GetDiffDay(nDate, 3, true);
}

// Summer time and skipped days (Apia had no 30 December 2011) do not show.
TEST(BarCalendar, IsTheSameInEveryTimeZone) {
    for (const char* szZone : {"", "UTC", "Asia/Shanghai", "America/New_York", "Europe/Dublin",
                               "Pacific/Apia"}) {
        if (*szZone == '\0') unsetenv("TZ"); else setenv("TZ", szZone, 1);
        tzset();
        for (int nDate = 20000101; nDate < 20200101; nDate = PlainDays::Shift(nDate, 1)) {
            const unsigned nWeekDay = PlainDays::WeekDay(nDate);
            const int nWorkday = nWeekDay == 5 ? 3 : nWeekDay == 6 ? 2 : 1;
            ASSERT_EQ(GetDiffDay(nDate, 0, false), nDate) << szZone;
            ASSERT_EQ(GetDiffDay(nDate, -1, false), PlainDays::Shift(nDate, -1)) << szZone;
            ASSERT_EQ(GetDiffDay(nDate, 1, true), PlainDays::Shift(nDate, nWorkday)) << szZone;
        }
    }
    unsetenv("TZ");
    tzset();
}

TEST(BarCalendar, TradingDayAndBack) {
    struct Case { int nDate, nTime, nTradingDay; };
    // 3 January 2014 is a Friday.
    for (const Case& c : {
             Case{20140103, 160000000, 20140103}, {20140103, 160000001, 20140106},
             {20140104, 10000000, 20140106}, {20140104, 80000000, 20140106},
             {20140103, 80000000, 20140103}, {20140106, 210000000, 20140107},
             {20140107, 80000000, 20140107}, {20140107, 80000001, 20140107}}) {
        const QRXDefine_KLine bar = Bar(c.nDate, c.nTime);
        EXPECT_EQ(GetTradingDay(&bar), c.nTradingDay) << c.nDate << " " << c.nTime;
        EXPECT_EQ(GetActionDay(c.nTradingDay, c.nTime), c.nDate) << c.nDate << " " << c.nTime;
    }
    const QRXDefine_KLine saturday = Bar(20140104, 80000001);
    EXPECT_EQ(GetTradingDay(&saturday), 20140104);
    EXPECT_DEATH(GetActionDay(20140104, 100000000), "nWeekDay>=1 && nWeekDay<=5");
}

TEST(BarCalendar, Counts) {
    const std::vector<std::pair<int, int>> stock = {{93000, 113000}, {130000, 150000}};
    const std::vector<std::pair<int, int>> night = {{210000, 263000}};
    struct Case { const std::vector<std::pair<int, int>>* pSeg; CYCTYPE nType; int nDef, nCount; };
    for (const Case& c : {
             Case{&stock, CYC_MINUTE, 1, 240}, {&stock, CYC_MINUTE, -7, 240},
             {&stock, CYC_MINUTE, 7, 36}, {&stock, CYC_MINUTE, 500, 2}, {&stock, CYC_DAY, 120, 2},
             {&stock, CYC_SECOND, 61, 240}, {&night, CYC_MINUTE, 7, 48}}) {
        EXPECT_EQ(GetRecordCount(*c.pSeg, c.nType, c.nDef), c.nCount) << c.nDef;
    }
    EXPECT_EQ(GetCountInSeg(93000000, 113000000, 60000), 121);
    EXPECT_DEATH(GetCountInSeg(93000000, 113000000, 0), "`nUnit'");
}

TEST(BarCalendar, FindsTheLastBarNotLater) {
    QRXDefine_KLine bars[] = {Bar(20140103, 93000000), Bar(20140103, 93100000),
                              Bar(20140103, 93100000), Bar(20140106, 93000000)};
    struct Case { int nDate, nTime, nStart, nResult; };
    for (const Case& c : {
             Case{20140103, 92900000, 0, -1}, {20140103, 93100000, 0, 2},
             {20140103, 93000000, 1, -1}, {20140105, 0, 1, 2}, {20150101, 0, 3, 3},
             {20150101, 0, 4, -1}, {20140103, 93000000, -5, 0}}) {
        EXPECT_EQ(MarketDataSource::FindLessMaxOrEqual({bars, 4}, {c.nDate, c.nTime}, c.nStart),
                  c.nResult);
    }
    EXPECT_DEATH(MarketDataSource::FindLessMaxOrEqual({bars, -1}, {1, 1}, 0),
                 "pairInput.second>0");
}
// clang-format on

TEST(BarCalendar, NightCodes) {
    using Source = MarketDataSource;
    for (const char* sz : {"jm1505.DCE", "j", "P1505.DCE"}) EXPECT_TRUE(Source::IsDCENightCode(sz));
    for (const char* sz : {"a1505.DCE", "", "mj.DCE"}) EXPECT_FALSE(Source::IsDCENightCode(sz));
    for (const char* sz : {"ta505.CZC", "SR505", "RM"}) EXPECT_TRUE(Source::IsCZCNightCode(sz));
    for (const char* sz : {"WH505.CZC", "T", ""}) EXPECT_FALSE(Source::IsCZCNightCode(sz));
}

}  // namespace
}  // namespace qrx::test
