// The list of grids that Python reads, against the table of the library.
#include <gtest/gtest.h>

#include "futures/grids.h"
#include "kline/grid.h"

namespace {

TEST(ExportedGrids, AreTheTables) {
    std::string strBars;
#define QRX_GRID(MARKET, SNAPSHOTS, OPEN, NIGHT)                                          \
    {                                                                                     \
        strBars += std::string(strBars.empty() ? "" : ", ") + #MARKET;                    \
        const qrx::GridRow* pRow = qrx::FindGridRow(#MARKET, "");                         \
        ASSERT_NE(pRow, nullptr) << #MARKET;                                              \
        EXPECT_EQ(pRow->pDay->nFirstBar, OPEN) << #MARKET;                                \
        const qrx::GridRow* pNight = qrx::FindNightRow(#MARKET);                          \
        EXPECT_EQ(pNight != nullptr ? pNight->pNight->segments[0].nStart : 0, NIGHT);     \
        EXPECT_EQ(qrx::futures::ChooseGrid(#MARKET, "") != qrx::futures::GridKind::kNone, \
                  SNAPSHOTS)                                                              \
            << #MARKET;                                                                   \
    }
#include "../../share/grids.def"
    EXPECT_EQ(strBars, qrx::GridMarkets());
}

}  // namespace
