// The table of simulated instruments; see the header for units.
#include "simulate/instrument.h"

#include <string_view>

namespace qrx::simulate {
namespace {

// A '*' in a code stands for the delivery month: YYMM, on CZC YMM.
struct Row {
    std::string_view strMarket, strCode, strName;
    int nType, nTick, nLot, nMultiplier, nBasePrice, nBand, nDailyMove, nEvents, nBaseInterest;
};

constexpr Row kRows[] = {
    // market, code, name, type, tick, lot, multiplier, base, band, move, events, interest
    {"SH", "000001", "上证指数", kIndexType, 100, 0, 1, 30000000, 0, 0, 0, 0},
    {"SH", "600000", "浦发银行", kStockType, 100, 100, 1, 102000, 100, 11000, 14000, 0},
    {"SH", "600519", "贵州茅台", kStockType, 100, 100, 1, 17000000, 100, 12000, 20000, 0},
    {"SH", "601398", "工商银行", kStockType, 100, 100, 1, 51000, 100, 9000, 18000, 0},
    {"SZ", "399001", "深证成指", kIndexType, 100, 0, 1, 95000000, 0, 0, 0, 0},
    {"SZ", "000001", "平安银行", kStockType, 100, 100, 1, 118000, 100, 13000, 20000, 0},
    {"SZ", "000400", "许继电气", kStockType, 100, 100, 1, 231000, 100, 16000, 12000, 0},
    {"SZ", "000858", "五粮液", kStockType, 100, 100, 1, 1560000, 100, 14000, 18000, 0},
    {"SHF", "au*", "沪金", kCommodityType, 200, 1, 1000, 4800000, 80, 7000, 10000, 180000},
    {"SHF", "ag*", "沪银", kCommodityType, 10000, 1, 15, 59000000, 90, 11000, 10000, 400000},
    {"SHF", "cu*", "沪铜", kCommodityType, 100000, 1, 5, 685000000, 70, 8000, 11000, 160000},
    {"SHF", "rb*", "螺纹钢", kCommodityType, 10000, 1, 10, 39000000, 70, 10000, 12000, 1500000},
    {"SHF", "ru*", "橡胶", kCommodityType, 50000, 1, 10, 135000000, 80, 11000, 12000, 170000},
    {"SHF", "wr*", "线材", kCommodityType, 10000, 1, 10, 42000000, 70, 9000, 15000, 9000},
    {"DCE", "jm*", "焦煤", kCommodityType, 5000, 1, 60, 18000000, 90, 12000, 10000, 150000},
    {"DCE", "p*", "棕榈油", kCommodityType, 20000, 1, 10, 73000000, 80, 11000, 10000, 420000},
    {"DCE", "a*", "豆一", kCommodityType, 10000, 1, 10, 49000000, 70, 8000, 15000, 120000},
    {"DCE", "c*", "玉米", kCommodityType, 10000, 1, 10, 24000000, 70, 7000, 15000, 700000},
    {"DCE", "c*-c-2400", "玉米购2400", kOptionType, 5000, 1, 10, 450000, 400, 20000, 3000, 8000},
    {"CZC", "SR*", "白糖", kCommodityType, 10000, 1, 10, 64000000, 70, 8000, 12000, 380000},
    {"CZC", "TA*", "PTA", kCommodityType, 20000, 1, 5, 59000000, 70, 10000, 12000, 900000},
    {"CZC", "WH*", "强麦", kCommodityType, 10000, 1, 20, 29000000, 70, 6000, 15000, 2500},
    {"CF", "IF*", "沪深", kFinancialType, 2000, 1, 300, 34000000, 100, 10000, 18000, 130000},
    {"CF", "T*", "十债", kFinancialType, 50, 1, 10000, 1025000, 20, 2000, 15000, 190000},
    {"CF", "IO*-C-3500", "沪深300购3500", kOptionType, 2000, 1, 100, 850000, 400, 20000, 4000,
     6000},
};

// YYMM of the first quarter's last month after nDate's month.
std::string DeliveryMonth(int nDate) {
    const int nMonth = nDate / 100 % 100;
    const int nDelivery = nMonth / 3 * 3 + 3;
    const int nYear = nDate / 10000 + (nDelivery > 12 ? 1 : 0);
    const int nYyMm = nYear % 100 * 100 + (nDelivery > 12 ? nDelivery - 12 : nDelivery);
    return std::to_string(10000 + nYyMm).substr(1);
}

}  // namespace

std::vector<Instrument> MakeUniverse(int nEndDate) {
    const std::string strMonth = DeliveryMonth(nEndDate);
    std::vector<Instrument> vecAll;
    for (const Row& row : kRows) {
        std::string strCode(row.strCode);
        std::string strName(row.strName);
        if (const size_t nStar = strCode.find('*'); nStar != std::string::npos) {
            const std::string strDigits = row.strMarket == "CZC" ? strMonth.substr(1) : strMonth;
            strCode.replace(nStar, 1, strDigits);
            if (row.nType != kOptionType) strName += strDigits;
        }
        vecAll.push_back({std::string(row.strMarket), strCode, strName, row.nType, row.nTick,
                          row.nLot, row.nMultiplier, row.nBasePrice, row.nBand, row.nDailyMove,
                          row.nEvents, row.nBaseInterest});
    }
    return vecAll;
}

}  // namespace qrx::simulate
