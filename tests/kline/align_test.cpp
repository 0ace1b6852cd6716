// Laying bars onto the grids: worked days, garbage, and random inputs against the plain statement.
#include "kline/align.h"

#include <gtest/gtest.h>

#include <random>

#include "kline/plain_grid.h"
#include "support/result_memory.h"
#include "support/sanitizers.h"

namespace qrx::test {
namespace {

using Bars = std::vector<QRXDefine_KLine>;

struct Aligned {
    int nResult = 0;
    int nAsked = 0;  // how often the previous close was asked for
    Bars bars;
};
Aligned Align(const char* szMarket, const char* szCode, Bars input, int nCycType, int nCycDef,
              int nPrevious = QRX_ERR_NO_DATA, const QRXDefine_KLine& previous = {}) {
    Aligned out;
    QRXDefine_ReqKLine request{};
    request.nCycType = nCycType;
    request.nCycDef = nCycDef;
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

// clang-format off
// The size of an answer and one point of it; 3 January 2014 is a Friday.
TEST(Align, WorkedGrids) {
    const Bars stock = {Bar(20140103, 93000000)}, goods = {Bar(20140103, 90000000)};
    const Bars future = {Bar(20140103, 91500000)}, late = {Bar(20150106, 100000000)};
    const Bars nights = {Bar(20150105, 210000000), Bar(20150107, 90000000)};
    const Bars gold = {Bar(20130705, 90000000), Bar(20130708, 90000000), Bar(20130709, 90000000)};
    struct Case {
        const char *szMarket, *szCode;
        int nCycDef;
        const Bars& input;
        size_t nBars, nAt;
        int nDate, nTime;
    };
    for (const Case& c : {
             Case{"SH", "", 1, stock, 240, 119, 20140103, 112900000},
             {"SZ", "", 1, stock, 240, 120, 20140103, 130000000},
             {"SH", "", 5, stock, 48, 23, 20140103, 112500000},
             {"SH", "", 7, stock, 36, 17, 20140103, 112900000},
             {"CF", "", 1, future, 270, 269, 20140103, 151400000},
             {"DCE", "a1501", 1, goods, 225, 75, 20140103, 103000000},
             {"DCE", "a1501", 1, goods, 225, 135, 20140103, 133000000},
             // Gold: the last day without a night and two with one.
             {"SHF", "au", 1, gold, 225 + 2 * 555, 225, 20130705, 210000000},
             {"SHF", "au", 1, gold, 225 + 2 * 555, 225 + 180, 20130706, 0},
             {"SHF", "au", 1, gold, 225 + 2 * 555, 225 + 555, 20130708, 210000000},
             {"SHF", "ru", 1, late, 345, 119, 20150105, 225900000},
             {"SHF", "cu", 1, late, 465, 239, 20150106, 5900000},
             {"SHF", "au", 7, late, 48 + 33, 26, 20150106, 200000},
             {"CZC", "SR", 7, late, 22 + 33, 21, 20150105, 232700000},
             {"CZC", "SR", 7, late, 22 + 33, 22, 20150106, 90400000},
             // The carry goes through a segment too short for it, and into the next night.
             {"SHF", "cu", 120, late, 2 + 3, 2, 20150106, 100000000},
             {"SHF", "ru", 119, nights, 2 * (2 + 3), 1, 20150105, 225900000},
             {"SHF", "ru", 119, nights, 2 * (2 + 3), 2, 20150106, 225800000},
             {"SHF", "ru", 119, nights, 2 * (2 + 3), 3, 0, 0}}) {
        const Aligned out = Align(c.szMarket, c.szCode, c.input, CYC_MINUTE, c.nCycDef);
        ASSERT_EQ(out.bars.size(), c.nBars) << c.szMarket << c.szCode << c.nCycDef;
        EXPECT_EQ(PointOf(out.bars[c.nAt]), PlainPoint(c.nDate, c.nTime))
            << c.szCode << c.nCycDef << " at " << c.nAt;
    }
}

TEST(Align, FirstPointAndGaps) {
    Bars input = {Bar(20140103, 93100000, 100), Bar(20140103, 93500000, 200),
                  Bar(20140103, 93530000, 300), Bar(20140103, 150000000, 400),
                  Bar(20140107, 93200000, 500)};
    snprintf(input[0].chCode, sizeof input[0].chCode, "FIRST");
    Aligned out = Align("SH", "", input, CYC_MINUTE, 1, 0, Bar(20140102, 0, 77));
    ASSERT_EQ(out.bars.size(), 480U);
    EXPECT_EQ(out.nAsked, 1);
    EXPECT_STREQ(out.bars[0].chCode, "FIRST");
    struct Case { size_t nAt; int nOpen, nClose, nVolume, nInterest; };
    for (const Case& c : {
             Case{0, 77, 77, 0, 10077}, {1, 99, 100, 700, 10100}, {4, 100, 100, 0, 10100},
             {5, 199, 200, 1400, 10200}, {6, 300, 300, 0, 10300}, {239, 300, 300, 0, 10300},
             {240, 400, 400, 0, 10400}, {242, 499, 500, 3500, 10500}}) {
        const QRXDefine_KLine& bar = out.bars[c.nAt];
        EXPECT_EQ(std::vector<int64_t>({bar.nOpen, bar.nClose, bar.iVolume, bar.nInterest}),
                  std::vector<int64_t>({c.nOpen, c.nClose, c.nVolume, c.nInterest})) << c.nAt;
    }
    // No daily bar: zero prices. An error: no answer.
    EXPECT_EQ(Align("SH", "", input, CYC_MINUTE, 1).bars[0].nClose, 0);
    for (const char* szCode : {"fu", "au"}) {
        out = Align("SHF", szCode, {Bar(20140103, 100000000)}, CYC_MINUTE, 1, QRX_ERR_TIMEOUT);
        EXPECT_EQ(out.nResult, QRX_ERR_TIMEOUT);
        EXPECT_TRUE(out.bars.empty());
    }
}

// The aligners by name on a session that was never opened: the opening bar is there.
TEST(Align, NamesChooseRows) {
    MarketDataSource source;
    MarketDataSource::KLineArray out(nullptr, 0);
    QRXDefine_ReqKLine request{};
    request.nCycType = CYC_MINUTE;
    const auto size = [&](int nTime, const char* szCode, auto align) {
        QRXDefine_KLine bar = Bar(20150105, nTime);
        snprintf(request.chCode, sizeof request.chCode, "%s", szCode);
        EXPECT_EQ(align(MarketDataSource::InputArray(&bar, 1)), QRX_OK);
        EXPECT_EQ(memcmp(&out.first[0], &bar, sizeof bar), 0);
        FreeResult(out.first);
        return out.second;
    };
    EXPECT_EQ(size(93000000, "", [&](auto in) { return source.AlignMinSH(out, in, &request); }), 240);
    EXPECT_EQ(size(91500000, "", [&](auto in) {
        return source.AlignMinCF(out, in, &request, CYC_MINUTE); }), 270);
    EXPECT_EQ(size(90000000, "", [&](auto in) {
        return source.AlignNormalMinSHF(out, in, &request, true, CYC_MINUTE); }), 225);
    EXPECT_EQ(size(210000000, "", [&](auto in) {
        return source.AlignNightMinSHF(out, in, &request, CYC_MINUTE); }), 555);
    const auto cu = [&](auto in) { return source.AlignNightMinCuSHF(out, in, &request, CYC_MINUTE); };
    EXPECT_EQ(size(210000000, "PB1505.SHF", cu), 465);
    EXPECT_EQ(size(210000000, "ru1505.SHF", cu), 345);
    for (const auto& market : {std::pair("DCE", 555), {"CZC", 375}, {"SHF", 555}}) {
        EXPECT_EQ(size(210000000, "", [&](auto in) {
            return source.AlignNightMinFutures(market.first, out, in, &request, CYC_MINUTE);
        }), market.second);
    }
    // Into an array of the caller: one day is written, what lies behind it is not.
    Bars own(226, Bar(1, 1));
    Bars in = {Bar(20150105, 90000000)};
    out = {own.data(), 226};
    EXPECT_EQ(source.AlignNormalMinSHF(out, {in.data(), 1}, &request, false, CYC_MINUTE), QRX_OK);
    EXPECT_EQ(PointOf(own[224]), PlainPoint(20150105, 145900000));
    EXPECT_EQ(PointOf(own[225]), PlainPoint(1, 1));
}

TEST(Align, BrokenConditionsStop) {
    using enum GridFault;
    const Bars wild = {Bar(20140103, 90000000), Bar(0, 99999999)};
    const Bars early = {Bar(20141225, 210000000), Bar(20141226, 90000000), Bar(20141229, 90000000)};
    struct Case { const char *szMarket, *szCode; Bars input; GridFault nFault; const char* szRule; };
    for (const Case& c : {
             Case{"SH", "", {Bar(20140103, 92900000)}, kBeforeSession, "pSrc\\[0\\].nTime>=93000000"},
             {"CF", "", {Bar(20140103, 91400000)}, kBeforeSession, "pSrc\\[0\\].nTime>=91500000"},
             {"SHF", "fu", {Bar(20140103, 85900000)}, kBeforeSession, "pSrc\\[0\\].nTime>=90000000"},
             {"SHF", "au", {Bar(20130704, 85900000)}, kBeforeSession, "pSrc\\[0\\].nTime>=90000000"},
             {"SHF", "au", {Bar(20140105, 100000000)}, kNoTradingDay, "nWeekDay>=1"},
             {"SHF", "au", wild, kNoTradingDay, "nWeekDay>=1"},
             {"SHF", "au", {}, kNoBars, "pSrc|nSrcCount"},
             // A night before the first night: two dates, one trading day.
             {"SHF", "ru", early, kEarlyNight, "vecDaySeg.size\\(\\)\\*nCountOneDay"}}) {
        const GridRow* pRow = FindGridRow(c.szMarket, c.szCode);
        const int nBars = static_cast<int>(c.input.size());
        EXPECT_EQ(CheckGridConditions(pRow, c.input.data(), nBars).nFault, c.nFault) << c.szRule;
        EXPECT_DEATH(Align(c.szMarket, c.szCode, c.input, CYC_MINUTE, 1), c.szRule);
    }
    EXPECT_EQ(CheckGridConditions(FindGridRow("HK", "00700"), nullptr, 0).nFault, kNoGrid);
    EXPECT_EQ(GridMarkets(), "SH, SZ, CF, SHF, CZC, DCE");
}
// clang-format on

// -- Random inputs -------------------------------------------------------------------------------

class Chance {
public:
    explicit Chance(int nSeed) : m_engine(static_cast<unsigned>(nSeed)) {}
    int Between(int nLow, int nHigh) {
        return nLow + static_cast<int>(m_engine() % static_cast<unsigned>(nHigh - nLow + 1));
    }
    bool Percent(int n) { return Between(0, 99) < n; }
    template <class List>
    const auto& From(const List& list) {
        return list[static_cast<size_t>(Between(0, static_cast<int>(std::size(list)) - 1))];
    }

private:
    std::mt19937 m_engine;
};

// Some trading days with gaps, each with some of its points' bars, some beside the grid.
PlainDayList RandomDays(Chance& chance, const PlainProduct& product, int nStepMs) {
    PlainDayList days;
    int nDay = PlainDays::Shift(product.nFirstNight > 0 ? product.nFirstNight : 20140303,
                                chance.Between(-8, 4));
    const int nKeep = chance.Percent(33) ? 3 : chance.Between(10, 100);
    const int nJitter = chance.Percent(50) ? 0 : chance.Between(0, 60);
    const int nUnit = nStepMs < 60000 ? 16 : 1000;  // ms; 59 of them stay within a bar
    int nCarryMs = 0;
    for (int nLeft = chance.Between(1, 5); nLeft > 0; nDay = PlainDays::Shift(nDay, 1)) {
        if (PlainDays::WeekDay(nDay) % 6 == 0) continue;
        --nLeft;
        if (chance.Percent(20)) continue;
        Bars bars;
        bool bOpening = days.empty();
        for (const auto& [nDate, nTime] : PlainPoints(product, nDay, nStepMs, nCarryMs)) {
            const bool bKept = chance.Percent(std::exchange(bOpening, false) ? 67 : nKeep);
            const int nOff = chance.Percent(nJitter) ? chance.Between(1, 59) * nUnit : 0;
            if (bKept) bars.push_back(Bar(nDate, nTime + nOff, chance.Between(10, 9999)));
        }
        const int nClosing = ClockOf(product.day.back().second * 60000);
        if (chance.Percent(25)) bars.push_back(Bar(nDay, nClosing, 5000));
        if (!bars.empty()) days.emplace_back(nDay, bars);
    }
    return days;
}

// One input of each kind of chance; false when it came out empty.
bool AgreesOn(Chance& chance) {
    const PlainProduct& product = chance.From(PlainProducts());
    const char* szCode = chance.From(product.vecCodes);
    const bool bSeconds = chance.Percent(33);
    const int nCycType = bSeconds ? CYC_SECOND : CYC_MINUTE;
    const int nCycDef = chance.Between(-1, bSeconds ? 70 : 130);
    const int nStepMs = std::clamp(nCycDef, 1, bSeconds ? 60 : 120) * (bSeconds ? 1000 : 60000);
    SCOPED_TRACE(testing::Message() << szCode << " cycle " << nCycType << " x " << nCycDef);
    const PlainDayList days = RandomDays(chance, product, nStepMs);
    if (days.empty()) return false;
    Bars input;
    for (const auto& [nDay, bars] : days) input.insert(input.end(), bars.begin(), bars.end());
    EXPECT_EQ(CheckGridConditions(FindGridRow(product.szMarket, szCode), input.data(),
                                  static_cast<int>(input.size()))
                  .nFault,
              GridFault::kNone);
    const bool bDaily = chance.Percent(50);
    const QRXDefine_KLine daily = bDaily ? Bar(20130101, 0, 4321) : QRXDefine_KLine{};
    const Bars bars = Align(product.szMarket, szCode, input, nCycType, nCycDef,
                            bDaily ? QRX_OK : QRX_ERR_NO_DATA, daily)
                          .bars;
    const Bars expected = PlainComplete(product, days, nStepMs, daily);
    EXPECT_EQ(bars.size(), expected.size());
    for (size_t i = 0; i < expected.size() && !testing::Test::HasFailure(); ++i) {
        EXPECT_EQ(memcmp(&bars[i], &expected[i], sizeof bars[i]), 0)
            << "bar " << i << ": " << bars[i].nDate << " " << bars[i].nTime << " close "
            << bars[i].nClose << ", expected " << expected[i].nDate << " " << expected[i].nTime
            << " close " << expected[i].nClose;
    }
    return true;
}

TEST(Align, AgreesWithThePlainGridsOnRandomInputs) {
    constexpr int kInputs = Rounds(4000);
    int nCompared = 0;
    for (int nSeed = 1; nSeed <= kInputs && !HasFailure(); ++nSeed) {
        SCOPED_TRACE(nSeed);
        Chance chance(nSeed);
        nCompared += AgreesOn(chance) ? 1 : 0;
    }
    EXPECT_GT(nCompared, kInputs / 2);
}

// Anything a peer may send: an answer or a stop by a stated rule, never a stray read or write.
TEST(Align, GarbageIsLaidOutOrRefused) {
    constexpr int kDates[] = {0, -1, 99999999, INT32_MAX, INT32_MIN, 20140103, 20140104, 20130705};
    constexpr int kTimes[] = {0, -1, 99999999, INT32_MAX, INT32_MIN, 90000000, 93000000, 210000000};
    int nLaid = 0;
    for (int nSeed = 1; nSeed <= Rounds(3000); ++nSeed) {
        Chance chance(nSeed);
        const PlainProduct& product = chance.From(PlainProducts());
        const char* szCode = chance.From(product.vecCodes);
        Bars input;
        for (int n = chance.Between(1, 6); n > 0; --n) {
            input.push_back(Bar(chance.From(kDates), chance.From(kTimes)));
        }
        const GridRow* pRow = FindGridRow(product.szMarket, szCode);
        const int nBars = static_cast<int>(input.size());
        if (CheckGridConditions(pRow, input.data(), nBars).nFault != GridFault::kNone) continue;
        ++nLaid;
        const Aligned out = Align(product.szMarket, szCode, input, CYC_MINUTE, 30);
        ASSERT_EQ(out.nResult, 0) << nSeed;
        ASSERT_FALSE(out.bars.empty());
    }
    EXPECT_GT(nLaid, Rounds(100));
}

}  // namespace
}  // namespace qrx::test
