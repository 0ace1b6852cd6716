// Laying bars onto the grids: worked days, garbage, and random inputs against the plain statement.
#include "kline/align.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "kline/plain_grid.h"
#include "support/result_memory.h"

namespace qrx::test {
namespace {

QRXDefine_KLine Bar(int nDate, int nTime, int nClose = 100) {
    QRXDefine_KLine bar{};
    snprintf(bar.chCode, sizeof bar.chCode, "CODE");
    snprintf(bar.chVelaCode, sizeof bar.chVelaCode, "CODE.X");
    bar.nDate = nDate;
    bar.nTime = nTime;
    bar.nOpen = nClose - 1;
    bar.nHigh = nClose + 5;
    bar.nLow = nClose - 5;
    bar.nClose = nClose;
    bar.iVolume = nClose * 7;
    bar.iTurnover = nClose * 1000000LL;
    bar.nMatchItems = 3;
    bar.nInterest = nClose + 10000;
    return bar;
}

QRXDefine_ReqKLine Cycle(int nCycType, int nCycDef) {
    QRXDefine_ReqKLine request{};
    request.nCycType = nCycType;
    request.nCycDef = nCycDef;
    return request;
}

struct Aligned {
    int nResult = 0;
    int nAsked = 0;  // how often the previous close was asked for
    std::vector<QRXDefine_KLine> bars;
};
Aligned Align(const char* szMarket, const char* szCode, std::vector<QRXDefine_KLine> input,
              int nCycType, int nCycDef, int nPrevious = QRX_ERR_NO_DATA,
              const QRXDefine_KLine& previous = {}) {
    Aligned out;
    const QRXDefine_ReqKLine request = Cycle(nCycType, nCycDef);
    MarketDataSource::KLineArray result(nullptr, 0);
    out.nResult = AlignBars(*FindGridRow(szMarket, szCode), result,
                            {input.data(), static_cast<int>(input.size())}, &request,
                            [&](QRXDefine_KLine& bar) {
                                ++out.nAsked;
                                if (nPrevious == 0) bar = previous;
                                return nPrevious;
                            });
    out.bars.assign(result.first, result.first + result.second);
    FreeResult(result.first);
    return out;
}

// Times of the points around a place, counts of whole answers; 3 January 2014 is a Friday.
TEST(Align, WorkedGrids) {
    struct Case {
        const char *szMarket, *szCode;
        int nCycDef;
        std::vector<QRXDefine_KLine> input;
        size_t nBars, nAt;
        int nDate, nTime;
    };
    const std::vector<QRXDefine_KLine> stock = {Bar(20140103, 93000000)};
    const std::vector<QRXDefine_KLine> late = {Bar(20150106, 100000000)};
    const std::vector<QRXDefine_KLine> nights = {Bar(20150105, 210000000), Bar(20150107, 90000000)};
    const std::vector<Case> cases = {
        {"SH", "", 1, stock, 240, 119, 20140103, 112900000},
        {"SH", "", 1, stock, 240, 120, 20140103, 130000000},
        {"SH", "", 5, stock, 48, 23, 20140103, 112500000},
        {"SZ", "", 5, stock, 48, 47, 20140103, 145500000},
        {"SH", "", 7, stock, 36, 17, 20140103, 112900000},
        {"CF", "", 1, {Bar(20140103, 91500000)}, 270, 269, 20140103, 151400000},
        {"DCE", "a1501", 1, {Bar(20140103, 90000000)}, 225, 75, 20140103, 103000000},
        {"DCE", "a1501", 1, {Bar(20140103, 90000000)}, 225, 135, 20140103, 133000000},
        // Gold from the last day without to the second day with a night.
        {"SHF",
         "au",
         1,
         {Bar(20130705, 90000000), Bar(20130708, 90000000), Bar(20130709, 90000000)},
         225 + 2 * 555,
         225,
         20130705,
         210000000},
        {"SHF",
         "au",
         1,
         {Bar(20130705, 90000000), Bar(20130708, 90000000), Bar(20130709, 90000000)},
         225 + 2 * 555,
         225 + 180,
         20130706,
         0},
        {"SHF",
         "au",
         1,
         {Bar(20130705, 90000000), Bar(20130708, 90000000), Bar(20130709, 90000000)},
         225 + 2 * 555,
         225 + 555,
         20130708,
         210000000},
        {"SHF", "ru", 1, late, 345, 119, 20150105, 225900000},
        {"SHF", "ru", 1, late, 345, 120, 20150106, 90000000},
        {"SHF", "cu", 1, late, 465, 239, 20150106, 5900000},
        {"SHF", "au", 7, late, 48 + 33, 26, 20150106, 200000},
        {"CZC", "SR", 7, late, 22 + 33, 21, 20150105, 232700000},
        {"CZC", "SR", 7, late, 22 + 33, 22, 20150106, 90400000},
        // The carry goes through a segment that is too short for it, and into the next night.
        {"SHF", "cu", 120, late, 2 + 3, 2, 20150106, 100000000},
        {"SHF", "ru", 119, nights, 2 * (2 + 3), 2, 20150106, 225800000},
    };
    for (const Case& c : cases) {
        const Aligned out = Align(c.szMarket, c.szCode, c.input, CYC_MINUTE, c.nCycDef);
        ASSERT_EQ(out.bars.size(), c.nBars) << c.szMarket << c.szCode << c.nCycDef;
        EXPECT_EQ(out.bars[c.nAt].nDate, c.nDate) << c.szCode << c.nCycDef << " at " << c.nAt;
        EXPECT_EQ(out.bars[c.nAt].nTime, c.nTime) << c.szCode << c.nCycDef << " at " << c.nAt;
    }
    // ru with 119 minutes: 21:00, 22:59 and 22:58 are all its points; the other seven are zero.
    const Aligned sparse = Align("SHF", "ru", nights, CYC_MINUTE, 119);
    EXPECT_EQ(sparse.bars[1].nTime, 225900000);
    const QRXDefine_KLine zero{};
    for (size_t i = 3; i < 10; ++i) EXPECT_EQ(memcmp(&sparse.bars[i], &zero, sizeof zero), 0) << i;
}

TEST(Align, FirstPointAndGaps) {
    const QRXDefine_KLine daily = Bar(20140102, 0, 77);
    // First bar late: previous close, no volume, the codes of the request's own bars.
    std::vector<QRXDefine_KLine> input = {
        Bar(20140103, 93100000, 100), Bar(20140103, 93500000, 200), Bar(20140103, 93530000, 300),
        Bar(20140103, 150000000, 400), Bar(20140107, 93200000, 500)};
    snprintf(input[0].chCode, sizeof input[0].chCode, "FIRST");
    Aligned out = Align("SH", "", input, CYC_MINUTE, 1, 0, daily);
    ASSERT_EQ(out.bars.size(), 480U);
    EXPECT_EQ(out.nAsked, 1);
    struct Case {
        size_t nAt;
        int nOpen, nClose;
        long long nVolume;
        int nInterest;
    };
    for (const Case& c : {Case{0, 77, 77, 0, 10077},
                          {1, 99, 100, 700, 10100},
                          {2, 100, 100, 0, 10100},
                          {4, 100, 100, 0, 10100},
                          {5, 199, 200, 1400, 10200},
                          {6, 300, 300, 0, 10300},
                          {239, 300, 300, 0, 10300},
                          {240, 400, 400, 0, 10400},
                          {242, 499, 500, 3500, 10500}}) {
        EXPECT_EQ(out.bars[c.nAt].nOpen, c.nOpen) << c.nAt;
        EXPECT_EQ(out.bars[c.nAt].nClose, c.nClose) << c.nAt;
        EXPECT_EQ(out.bars[c.nAt].iVolume, c.nVolume) << c.nAt;
        EXPECT_EQ(out.bars[c.nAt].nInterest, c.nInterest) << c.nAt;
    }
    EXPECT_STREQ(out.bars[0].chCode, "FIRST");
    // No daily bar: zero prices. An error: no answer.
    out = Align("SH", "", input, CYC_MINUTE, 1, QRX_ERR_NO_DATA);
    EXPECT_EQ(out.bars[0].nClose, 0);
    for (const char* szCode : {"fu", "au"}) {
        out = Align("SHF", szCode, {Bar(20140103, 100000000)}, CYC_MINUTE, 1, QRX_ERR_TIMEOUT);
        EXPECT_EQ(out.nResult, QRX_ERR_TIMEOUT);
        EXPECT_TRUE(out.bars.empty());
    }
}

TEST(Align, BrokenConditionsStop) {
    struct Case {
        const char *szMarket, *szCode;
        std::vector<QRXDefine_KLine> input;
        GridFault nFault;
        const char* szRule;
    };
    const std::vector<Case> cases = {
        {"SH", "", {Bar(20140103, 92900000)}, GridFault::kBeforeSession, "nTime>=93000000"},
        {"CF", "", {Bar(20140103, 91400000)}, GridFault::kBeforeSession, "nTime>=91500000"},
        {"SHF", "fu", {Bar(20140103, 85900000)}, GridFault::kBeforeSession, "nTime>=90000000"},
        {"SHF", "au", {Bar(20130704, 85900000)}, GridFault::kBeforeSession, "nTime>=90000000"},
        {"SHF", "au", {Bar(20140105, 100000000)}, GridFault::kNoTradingDay, "nWeekDay>=1"},
        {"SHF",
         "au",
         {Bar(20140103, 90000000), Bar(0, 99999999)},
         GridFault::kNoTradingDay,
         "nWeekDay>=1"},
        {"SHF", "au", {}, GridFault::kNoBars, "pSrc|nSrcCount"},
        // A night before the first night: two dates, one trading day.
        {"SHF",
         "ru",
         {Bar(20141225, 210000000), Bar(20141226, 90000000), Bar(20141229, 90000000)},
         GridFault::kEarlyNight,
         "vecDaySeg.size\\(\\)\\*nCountOneDay"}};
    for (const Case& c : cases) {
        const GridVerdict verdict = CheckGridConditions(
            FindGridRow(c.szMarket, c.szCode), c.input.data(), static_cast<int>(c.input.size()));
        EXPECT_EQ(verdict.nFault, c.nFault) << c.szRule;
        EXPECT_DEATH(Align(c.szMarket, c.szCode, c.input, CYC_MINUTE, 1), c.szRule);
    }
    EXPECT_EQ(CheckGridConditions(FindGridRow("HK", "00700"), nullptr, 0).nFault,
              GridFault::kNoGrid);
    EXPECT_EQ(GridMarkets(), "SH, SZ, CF, SHF, CZC, DCE");
}

// -- Random inputs -------------------------------------------------------------------------------

class Chance {
public:
    explicit Chance(unsigned nSeed) : m_engine(nSeed) {}
    int Of(int nBelow) { return static_cast<int>(m_engine() % static_cast<unsigned>(nBelow)); }
    int Between(int nLow, int nHigh) { return nLow + Of(nHigh - nLow + 1); }

private:
    std::mt19937 m_engine;
};

using Days = std::vector<std::pair<int, std::vector<QRXDefine_KLine>>>;

// Some trading days in a row with gaps, each with some of its points' bars, some beside the grid.
Days RandomDays(Chance& chance, const PlainProduct& product, int nStepMs) {
    Days days;
    int nDay = PlainDays::Shift(product.nFirstNight > 0 ? product.nFirstNight : 20140303,
                                chance.Between(-8, 4));
    const int nKeep = chance.Of(3) == 0 ? 3 : chance.Between(10, 100);
    const int nJitter = chance.Of(2) * chance.Of(60);
    int nCarryMs = 0;
    for (int nLeft = chance.Between(1, 5); nLeft > 0; nDay = PlainDays::Shift(nDay, 1)) {
        if (PlainDays::WeekDay(nDay) % 6 == 0) continue;
        --nLeft;
        if (chance.Of(5) == 0) continue;
        std::vector<QRXDefine_KLine> bars;
        const auto points = PlainPoints(product, nDay, nStepMs, nCarryMs);
        for (size_t i = 0; i < points.size(); ++i) {
            const bool bFirst = i == 0 && days.empty();
            if (bFirst ? chance.Of(3) == 0 : chance.Of(100) >= nKeep) continue;
            int nTime = points[i].second;
            // Beside the grid, but before the minute is over.
            if (chance.Of(100) < nJitter)
                nTime += chance.Between(1, 59) * 1000 / (nStepMs < 60000 ? 60 : 1);
            bars.push_back(Bar(points[i].first, nTime, chance.Between(10, 9999)));
        }
        if (chance.Of(4) == 0)
            bars.push_back(Bar(nDay, ClockOf(product.day.back().second * 60000), 5000));  // auction
        if (!bars.empty()) days.emplace_back(nDay, bars);
    }
    return days;
}

TEST(Align, AgreesWithThePlainGridsOnRandomInputs) {
    constexpr int kInputs = 4000;
    int nWithVolumeKept = 0;
    for (int nSeed = 1; nSeed <= kInputs; ++nSeed) {
        Chance chance(static_cast<unsigned>(nSeed));
        const auto& products = PlainProducts();
        const PlainProduct& product = products[static_cast<size_t>(nSeed) % products.size()];
        const int nCycType = chance.Of(3) == 0 ? CYC_SECOND : CYC_MINUTE;
        const int nCycDef = chance.Between(-1, nCycType == CYC_SECOND ? 70 : 130);
        const int nStepMs = nCycType == CYC_SECOND ? std::clamp(nCycDef, 1, 60) * 1000
                                                   : std::clamp(nCycDef, 1, 120) * 60000;
        const Days days = RandomDays(chance, product, nStepMs);
        if (days.empty()) continue;
        std::vector<QRXDefine_KLine> input;
        for (const auto& [nDay, bars] : days) input.insert(input.end(), bars.begin(), bars.end());
        const QRXDefine_KLine daily = Bar(20130101, 0, 4321);
        const bool bDaily = chance.Of(2) == 0;
        ASSERT_EQ(CheckGridConditions(FindGridRow(product.szMarket, product.szCode), input.data(),
                                      static_cast<int>(input.size()))
                      .nFault,
                  GridFault::kNone);
        const Aligned out = Align(product.szMarket, product.szCode, input, nCycType, nCycDef,
                                  bDaily ? 0 : QRX_ERR_NO_DATA, daily);
        const auto expected =
            PlainComplete(product, days, nStepMs, bDaily ? daily : QRXDefine_KLine{});
        ASSERT_EQ(out.nResult, 0);
        ASSERT_EQ(out.bars.size(), expected.size()) << product.szCode << " seed " << nSeed;
        ASSERT_LE(out.nAsked, 1);
        long long nIn = 0, nOut = 0;
        std::vector<PlainPoint> points;
        for (size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(memcmp(&out.bars[i], &expected[i], sizeof expected[i]), 0)
                << product.szMarket << " " << product.szCode << " seed " << nSeed << " cycle "
                << nCycType << " x " << nCycDef << " bar " << i << ": " << out.bars[i].nDate << " "
                << out.bars[i].nTime << " close " << out.bars[i].nClose << ", expected "
                << expected[i].nDate << " " << expected[i].nTime << " close " << expected[i].nClose;
            points.push_back(PointOf(expected[i]));
            nOut += out.bars[i].iVolume;
        }
        bool bOnGrid = true;
        std::sort(points.begin(), points.end());
        for (const QRXDefine_KLine& bar : input) {
            nIn += bar.iVolume;
            bOnGrid &= std::binary_search(points.begin(), points.end(), PointOf(bar));
        }
        if (bOnGrid) {
            ++nWithVolumeKept;
            ASSERT_EQ(nIn, nOut) << product.szCode << " seed " << nSeed;
        }
    }
    EXPECT_GT(nWithVolumeKept, kInputs / 5);
}

// Anything a peer may send: an answer or a stop by a stated rule, never a stray read or write.
TEST(Align, GarbageIsLaidOutOrRefused) {
    constexpr int kWildDates[] = {0,        -1,       99999999, INT32_MAX, INT32_MIN,
                                  20140103, 20140104, 20150105, 20130705};
    constexpr int kWildTimes[] = {0,        -1,        99999999, INT32_MAX, INT32_MIN,
                                  93000000, 210000000, 90000000, 240000000};
    int nLaid = 0;
    for (int nSeed = 1; nSeed <= 3000; ++nSeed) {
        Chance chance(static_cast<unsigned>(nSeed));
        const PlainProduct& product =
            PlainProducts()[static_cast<size_t>(nSeed) % PlainProducts().size()];
        std::vector<QRXDefine_KLine> input;
        for (int n = chance.Between(1, 6); n > 0; --n) {
            input.push_back(Bar(kWildDates[chance.Of(9)], kWildTimes[chance.Of(9)]));
        }
        const GridRow* pRow = FindGridRow(product.szMarket, product.szCode);
        if (CheckGridConditions(pRow, input.data(), static_cast<int>(input.size())).nFault !=
            GridFault::kNone) {
            continue;
        }
        ++nLaid;
        const Aligned out = Align(product.szMarket, product.szCode, input, CYC_MINUTE, 30);
        ASSERT_EQ(out.nResult, 0) << nSeed;
        ASSERT_FALSE(out.bars.empty());
    }
    EXPECT_GT(nLaid, 100);
}

}  // namespace
}  // namespace qrx::test
