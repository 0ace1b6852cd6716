// Completion of a caller's own bars: worked days.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "session/data_source.h"

namespace qrx::test {
namespace {

QRXDefine_KLine Bar(int nDate, int nTime, int nClose) {
    QRXDefine_KLine bar{};
    bar.nDate = nDate;
    bar.nTime = nTime;
    bar.nOpen = nClose - 1;
    bar.nHigh = bar.nLow = bar.nClose = nClose;
    bar.iVolume = 10;
    bar.iTurnover = 20;
    bar.nMatchItems = 30;
    bar.nInterest = 40;
    return bar;
}

struct Options {
    int nPreClose = 0;
    CYCTYPE nCycType = CYC_MINUTE;
    int nCycDef = 1;
    int nBeginDate = 0, nBeginTime = 0, nEndDate = 0, nEndTime = 0;
};
struct Expected {
    size_t nAt;
    int nDate, nTime, nOpen, nClose, nVolume;
};
struct Case {
    std::vector<QRXDefine_KLine> input;
    Options options;
    size_t nCount;
    std::vector<Expected> bars;
};

TEST(AutoComplete, WorkedDays) {
    const int a = 20140103, b = 20140106;
    const QRXDefine_KLine ten = Bar(a, 100000000, 500);
    const std::vector<Case> cases = {
        // One bar at 10:00: the opening takes the previous close or the bar's own.
        {{ten},
         {.nPreClose = 480},
         242,
         {{0, a, 93000000, 480, 480, 0},
          {29, a, 95900000, 480, 480, 0},
          {30, a, 100000000, 499, 500, 10},
          {31, a, 100100000, 500, 500, 0},
          {120, a, 113000000, 500, 500, 0},
          {121, a, 130000000, 500, 500, 0},
          {241, a, 150000000, 500, 500, 0}}},
        {{ten}, {}, 242, {{0, a, 93000000, 500, 500, 0}, {29, a, 95900000, 500, 500, 0}}},
        // Begin time on the first day, end time on the last.
        {{ten, Bar(b, 93000000, 600)},
         {.nBeginDate = a, .nBeginTime = 100000000, .nEndDate = b, .nEndTime = 93100000},
         212 + 2,
         {{0, a, 100000000, 499, 500, 10},
          {211, a, 150000000, 500, 500, 0},
          {212, b, 93000000, 599, 600, 10},
          {213, b, 93100000, 600, 600, 0}}},
        // A bar beside the grid gives its close to the next point; a date out of range is no bound.
        {{Bar(a, 93000000, 100), Bar(a, 93030000, 200)},
         {.nBeginDate = b, .nBeginTime = 100000000},
         242,
         {{0, a, 93000000, 99, 100, 10}, {1, a, 93100000, 200, 200, 0}}},
        {{ten}, {.nCycDef = 7}, 18 + 18, {{17, a, 112900000, 500, 500, 0}}},
        {{ten}, {.nCycDef = 500}, 2, {{1, a, 130000000, 500, 500, 0}}},
        {{ten}, {.nCycDef = INT_MAX}, 2, {{0, a, 93000000, 500, 500, 0}}},
        {{ten},
         {.nCycType = CYC_SECOND, .nCycDef = 0},
         14402,
         {{14401, a, 150000000, 500, 500, 0}}},
        // Before every point of the day: carried into all of them.
        {{Bar(a, 80000000, 300)},
         {.nPreClose = 1, .nCycDef = 60},
         6,
         {{0, a, 93000000, 300, 300, 0}}},
    };
    for (size_t n = 0; n < cases.size(); ++n) {
        const auto& [input, options, nCount, bars] = cases[n];
        QRXDefine_KLine* pOut = nullptr;
        int nOut = 0;
        ASSERT_EQ(MarketDataSource::AutoCompleteKLine(
                      &pOut, &nOut, options.nPreClose, input.data(), static_cast<int>(input.size()),
                      "", "", options.nCycType, options.nCycDef, options.nBeginDate,
                      options.nBeginTime, options.nEndDate, options.nEndTime),
                  QRX_OK);
        ASSERT_EQ(static_cast<size_t>(nOut), nCount) << "case " << n;
        for (const Expected& bar : bars) {
            EXPECT_EQ(pOut[bar.nAt].nDate, bar.nDate) << "case " << n << " at " << bar.nAt;
            EXPECT_EQ(pOut[bar.nAt].nTime, bar.nTime) << "case " << n << " at " << bar.nAt;
            EXPECT_EQ(pOut[bar.nAt].nOpen, bar.nOpen) << "case " << n << " at " << bar.nAt;
            EXPECT_EQ(pOut[bar.nAt].nClose, bar.nClose) << "case " << n << " at " << bar.nAt;
            EXPECT_EQ(pOut[bar.nAt].iVolume, bar.nVolume) << "case " << n << " at " << bar.nAt;
            EXPECT_EQ(pOut[bar.nAt].nInterest, 40) << "case " << n << " at " << bar.nAt;
        }
        QRX_Free(pOut);
    }
}

TEST(AutoComplete, RefusesWhatIsNotFine) {
    const QRXDefine_KLine bar = Bar(20140103, 93000000, 1);
    QRXDefine_KLine* pOut = nullptr;
    int nOut = 0;
    const auto call = [&](QRXDefine_KLine** pp, int* p, const QRXDefine_KLine* pSrc, int nSrc,
                          CYCTYPE nCycType) {
        return MarketDataSource::AutoCompleteKLine(pp, p, 0, pSrc, nSrc, "", "", nCycType, 1, 0, 0,
                                                   0, 0);
    };
    EXPECT_EQ(call(nullptr, &nOut, &bar, 1, CYC_MINUTE), QRX_ERR_ARGUMENT);
    EXPECT_EQ(call(&pOut, nullptr, &bar, 1, CYC_MINUTE), QRX_ERR_ARGUMENT);
    EXPECT_EQ(call(&pOut, &nOut, nullptr, 1, CYC_MINUTE), QRX_ERR_ARGUMENT);
    EXPECT_EQ(call(&pOut, &nOut, &bar, 0, CYC_MINUTE), QRX_ERR_ARGUMENT);
    EXPECT_EQ(call(&pOut, &nOut, &bar, -1, CYC_SECOND), QRX_ERR_ARGUMENT);
    EXPECT_EQ(call(&pOut, &nOut, &bar, 1, CYC_DAY), QRX_ERR_ARGUMENT);
    EXPECT_EQ(pOut, nullptr);
}

}  // namespace
}  // namespace qrx::test
