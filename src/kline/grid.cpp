// The table of grids, and what is read off it.
#include "kline/grid.h"

#include <cstring>

#include "support/strings.h"

namespace qrx {
namespace {

constexpr Segment kStockSegments[] = {{93000000, 113000000}, {130000000, 150000000}};
constexpr Segment kFinancialSegments[] = {{91500000, 113000000}, {130000000, 151500000}};
constexpr Segment kCommoditySegments[] = {
    {90000000, 101500000}, {103000000, 113000000}, {133000000, 150000000}};
constexpr Segment kTo0230[] = {{210000000, 240000000}, {0, 23000000}};
constexpr Segment kTo0100[] = {{210000000, 240000000}, {0, 10000000}};
constexpr Segment kTo2330[] = {{210000000, 233000000}};
constexpr Segment kTo2300[] = {{210000000, 230000000}};

constexpr DaySession kStocks = {kStockSegments, 93000000, "pSrc[0].nTime>=93000000"};
constexpr DaySession kFinancials = {kFinancialSegments, 91500000, "pSrc[0].nTime>=91500000"};
constexpr DaySession kCommodities = {kCommoditySegments, 90000000, "pSrc[0].nTime>=90000000"};
constexpr NightSession kNight0230 = {kTo0230, {210000, 263000}};
constexpr NightSession kNight0100 = {kTo0100, {210000, 250000}};
constexpr NightSession kNight2330 = {kTo2330, {210000, 233000}};
constexpr NightSession kNight2300 = {kTo2300, {210000, 230000}};

// Market, products, day, night, first trading day with a night. The first row that fits counts;
// the last of a market takes what is left. On DCE one letter is enough: jm and pp have nights too.
constexpr GridRow kRows[] = {
    {"SH", "", &kStocks, nullptr, 0},
    {"SZ", "", &kStocks, nullptr, 0},
    {"CF", "", &kFinancials, nullptr, 0},
    {"SHF", "au ag", &kCommodities, &kNight0230, 20130708},
    {"SHF", "cu al pb zn", &kCommodities, &kNight0100, 20131223},
    {"SHF", "rb hc bu", &kCommodities, &kNight0100, 20141229},
    {"SHF", "ru", &kCommodities, &kNight2300, 20141229},
    {"SHF", "", &kCommodities, nullptr, 0},
    {"CZC", "SR CF RM ME TA", &kCommodities, &kNight2330, 20141215},
    {"CZC", "", &kCommodities, nullptr, 0},
    {"DCE", "j p", &kCommodities, &kNight0230, 20140605},
    {"DCE", "", &kCommodities, nullptr, 0},
};

bool TakesCode(const GridRow& row, const std::string& strCode) {
    const char* szProduct = row.szProducts;
    if (*szProduct == '\0') return true;
    while (*szProduct != '\0') {
        const size_t nLen = strcspn(szProduct, " ");
        if (CompareNoCase(szProduct, strCode.c_str(), nLen) == 0) return true;
        szProduct += nLen + strspn(szProduct + nLen, " ");
    }
    return false;
}

std::pair<int, int> InSeconds(const Segment& segment) {
    return {segment.nStart / 1000, segment.nEnd / 1000};
}

}  // namespace

std::span<const GridRow> GridRows() {
    return kRows;
}

const GridRow* FindGridRow(const std::string& strMarket, const std::string& strCode) {
    for (const GridRow& row : kRows) {
        if (CompareNoCase(row.szMarket, strMarket.c_str()) == 0 && TakesCode(row, strCode)) {
            return &row;
        }
    }
    return nullptr;
}

const GridRow* FindNightRow(const std::string& strMarket) {
    for (const GridRow& row : kRows) {
        if (CompareNoCase(row.szMarket, strMarket.c_str()) == 0 && row.pNight != nullptr) {
            return &row;
        }
    }
    return nullptr;
}

std::string GridMarkets() {
    std::string strMarkets;
    const char* szLast = "";
    for (const GridRow& row : kRows) {
        if (strcmp(row.szMarket, szLast) == 0) continue;
        if (!strMarkets.empty()) strMarkets += ", ";
        strMarkets += row.szMarket;
        szLast = row.szMarket;
    }
    return strMarkets;
}

int GridBarsADay(const GridRow& row, bool bNight, int nCycType, int nCycDef) {
    std::vector<std::pair<int, int>> vecSeg;
    if (bNight) vecSeg.push_back(row.pNight->count);
    for (const Segment& segment : row.pDay->segments) vecSeg.push_back(InSeconds(segment));
    return GetRecordCount(vecSeg, nCycType == CYC_SECOND ? CYC_SECOND : CYC_MINUTE, nCycDef);
}

NightDays SplitNightDays(const GridRow& row, const QRXDefine_KLine* pBars, int nCount) {
    NightDays days;
    days.vecDays = SplitByTradingDay(pBars, nCount);
    for (const DayRun& run : days.vecDays) {
        if (row.HasNight(run.nDay)) continue;
        ++days.nDayOnlyDays;
        days.nDayOnlyBars += run.nCount;
    }
    return days;
}

GridVerdict CheckGridConditions(const GridRow* pRow, const QRXDefine_KLine* pBars, int nCount) {
    if (pRow == nullptr) return {GridFault::kNoGrid};
    if (pBars == nullptr || nCount <= 0) return {GridFault::kNoBars};
    size_t nDayOnlyDays = 1;  // so that a row without nights has its first bar checked
    if (pRow->pNight != nullptr) {
        const NightDays days = SplitNightDays(*pRow, pBars, nCount);
        for (size_t i = days.nDayOnlyDays; i < days.vecDays.size(); ++i) {
            const DayRun& run = days.vecDays[i];
            const int nWeekDay = BusinessConvertor::GetDayOfWeek(run.nDay);
            if (nWeekDay < 1 || nWeekDay > 5) {
                return {GridFault::kNoTradingDay, run.nFirst, run.nDay};
            }
        }
        nDayOnlyDays = days.nDayOnlyDays;
        if (!days.AllDayOnly()) {
            const std::vector<DayRun> vecDates = SplitByDate(pBars, days.nDayOnlyBars);
            if (vecDates.size() > nDayOnlyDays) {
                const int nBar = vecDates[nDayOnlyDays].nFirst;
                return {GridFault::kEarlyNight, nBar, GetTradingDay(pBars + nBar)};
            }
        }
    }
    if (nDayOnlyDays > 0 && pBars[0].nTime < pRow->pDay->nFirstBar) {
        return {GridFault::kBeforeSession, 0, GetTradingDay(pBars)};
    }
    return {};
}

const char* GridRule(GridFault nFault) {
    switch (nFault) {
        case GridFault::kNone:
            return "the bars fit the grid";
        case GridFault::kNoGrid:
            return "the market has no session grid";
        case GridFault::kNoBars:
            return "there are no bars to complete";
        case GridFault::kBeforeSession:
            return "the first bar must not be earlier than the opening of the day session";
        case GridFault::kNoTradingDay:
            return "a bar must belong to a trading day from Monday to Friday";
        case GridFault::kEarlyNight:
            return "there must be no night bars before the product's first night session";
    }
    return "";
}

}  // namespace qrx
