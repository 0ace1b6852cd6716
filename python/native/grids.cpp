// libqrx_grids.so: what the Python package asks about session grids, through ctypes. It stands
// beside libqrx.so, whose exports are its public functions and nothing else.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>

#include "grids/completable.h"
#include "kline/grid.h"
#include "support/strings.h"

extern "C" {

// 0: nothing is wrong. 1: szWhy holds the sentence (grids::WhyNotCompletable). -1: out of memory.
__attribute__((visibility("default"))) int QrxWhyNotCompletable(int nKind,
                                                                const QRXDefine_Code* pCode,
                                                                const void* pRecords, int nCount,
                                                                int nDay, char* szWhy,
                                                                size_t nWhySize) {
    try {
        const std::string strWhy = qrx::grids::WhyNotCompletable(
            static_cast<qrx::grids::Kind>(nKind), *pCode, pRecords, nCount, nDay);
        snprintf(szWhy, nWhySize, "%s", strWhy.c_str());
        return strWhy.empty() ? 0 : 1;
    } catch (const std::exception&) {
        return -1;
    }
}

// The rows of the table of bar grids: market, products ("": the market's others), and the first
// trading day with a night (0: none). 0 beyond the table's end.
__attribute__((visibility("default"))) int QrxGridRow(int nRow, const char** pszMarket,
                                                      const char** pszProducts, int* pnFirstNight) {
    const auto rows = qrx::GridRows();
    if (nRow < 0 || static_cast<size_t>(nRow) >= rows.size()) return 0;
    const qrx::GridRow& row = rows[static_cast<size_t>(nRow)];
    *pszMarket = row.szMarket;
    *pszProducts = row.szProducts;
    *pnFirstNight = row.nFirstNightDay;
    return 1;
}

// Date and time of each grid point of a trading day: how many there are, of which at most nMost are
// written. None on a Saturday, a Sunday or no date.
__attribute__((visibility("default"))) int QrxGridPoints(int nRow, int nTradingDay, int nCycType,
                                                         int nCycDef, int32_t (*pPoints)[2],
                                                         int nMost) {
    const auto rows = qrx::GridRows();
    const int nWeekDay = BusinessConvertor::GetDayOfWeek(nTradingDay);
    if (nRow < 0 || static_cast<size_t>(nRow) >= rows.size() || nWeekDay < 1 || nWeekDay > 5) {
        return 0;
    }
    int nPoints = 0;
    qrx::GridWalk walk(rows[static_cast<size_t>(nRow)], nCycType, nCycDef);
    walk.TradingDay(nTradingDay, [&](int nDate, int nTime) {
        if (nPoints < nMost) {
            pPoints[nPoints][0] = nDate;
            pPoints[nPoints][1] = nTime;
        }
        ++nPoints;
    });
    return nPoints;
}

}  // extern "C"
