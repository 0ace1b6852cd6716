// Completion of a caller's own bars: worked days.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "kline/plain_grid.h"
#include "session/data_source.h"

namespace qrx::test {
namespace {

// clang-format off
TEST(AutoComplete, WorkedDays) {
    struct Bounds { int nBeginDate = 0, nBeginTime = 0, nEndDate = 0, nEndTime = 0; };
    struct Point { int nAt, nDate, nTime, nOpen, nClose, nVolume, nInterest; };
    struct Case {
        std::vector<QRXDefine_KLine> input;
        int nPreClose;
        CYCTYPE nCycType;
        int nCycDef;
        Bounds bounds;
        int nCount;
        std::vector<Point> points;
    };
    const int a = 20140103, b = 20140106;
    const QRXDefine_KLine ten = Bar(a, 100000000, 500);
    for (const Case& c : std::vector<Case>{
             // One bar at 10:00: the opening takes the previous close, or the bar's own.
             {{ten}, 480, CYC_MINUTE, 1, {}, 242,
              {{0, a, 93000000, 480, 480, 0, 10500}, {29, a, 95900000, 480, 480, 0, 10500},
               {30, a, 100000000, 499, 500, 3500, 10500}, {31, a, 100100000, 500, 500, 0, 10500},
               {120, a, 113000000, 500, 500, 0, 10500}, {241, a, 150000000, 500, 500, 0, 10500}}},
             {{ten}, 0, CYC_MINUTE, 1, {}, 242, {{29, a, 95900000, 500, 500, 0, 10500}}},
             // Begin time on the first day, end time on the last; no bound on other days.
             {{ten, Bar(b, 93000000, 600)}, 0, CYC_MINUTE, 1, {a, 100000000, b, 93100000}, 212 + 2,
              {{0, a, 100000000, 499, 500, 3500, 10500}, {211, a, 150000000, 500, 500, 0, 10500},
               {212, b, 93000000, 599, 600, 4200, 10600}, {213, b, 93100000, 600, 600, 0, 10600}}},
             // A bar beside the grid gives its close to the next point.
             {{Bar(a, 93000000, 100), Bar(a, 93030000, 200), ten}, 0, CYC_MINUTE, 1,
              {b, 100000000, 0, 0}, 242,
              {{0, a, 93000000, 99, 100, 700, 10100}, {1, a, 93100000, 200, 200, 0, 10200}}},
             {{ten}, 0, CYC_MINUTE, 7, {}, 18 + 18, {{17, a, 112900000, 500, 500, 0, 10500}}},
             {{ten}, 0, CYC_MINUTE, INT_MAX, {}, 2, {{1, a, 130000000, 500, 500, 0, 10500}}},
             {{ten}, 0, CYC_SECOND, 0, {}, 14402, {{14401, a, 150000000, 500, 500, 0, 10500}}},
             // Before every point of the day: carried into all of them.
             {{Bar(a, 80000000, 300)}, 1, CYC_MINUTE, 60, {}, 6,
              {{0, a, 93000000, 300, 300, 0, 10300}}}}) {
        QRXDefine_KLine* pOut = nullptr;
        int nOut = 0;
        ASSERT_EQ(MarketDataSource::AutoCompleteKLine(
                      &pOut, &nOut, c.nPreClose, c.input.data(), static_cast<int>(c.input.size()),
                      "", "", c.nCycType, c.nCycDef, c.bounds.nBeginDate, c.bounds.nBeginTime,
                      c.bounds.nEndDate, c.bounds.nEndTime), QRX_OK);
        ASSERT_EQ(nOut, c.nCount);
        for (const Point& p : c.points) {
            const QRXDefine_KLine& k = pOut[p.nAt];
            EXPECT_EQ(std::vector<int64_t>(
                          {k.nDate, k.nTime, k.nOpen, k.nClose, k.iVolume, k.nInterest}),
                      std::vector<int64_t>(
                          {p.nDate, p.nTime, p.nOpen, p.nClose, p.nVolume, p.nInterest}))
                << "point " << p.nAt << " of " << c.nCount << ", multiple " << c.nCycDef;
        }
        QRX_Free(pOut);
    }
}

TEST(AutoComplete, RefusesWhatIsNotFine) {
    const QRXDefine_KLine bar = Bar(20140103, 93000000, 1);
    QRXDefine_KLine* pOut = nullptr;
    int n = 0;
    struct Case { QRXDefine_KLine** pp; int* pn; const QRXDefine_KLine* pSrc; int nSrc; CYCTYPE c; };
    for (const Case& c : {
             Case{nullptr, &n, &bar, 1, CYC_MINUTE}, {&pOut, nullptr, &bar, 1, CYC_MINUTE},
             {&pOut, &n, nullptr, 1, CYC_MINUTE}, {&pOut, &n, &bar, 0, CYC_MINUTE},
             {&pOut, &n, &bar, -1, CYC_SECOND}, {&pOut, &n, &bar, 1, CYC_DAY}}) {
        EXPECT_EQ(MarketDataSource::AutoCompleteKLine(c.pp, c.pn, 0, c.pSrc, c.nSrc, "", "", c.c, 1,
                                                      0, 0, 0, 0), QRX_ERR_ARGUMENT);
    }
    EXPECT_EQ(pOut, nullptr);
}
// clang-format on

}  // namespace
}  // namespace qrx::test
