// The simulator's days against an independent account of them: sums over trades, and session times
// written by hand.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <set>
#include <tuple>

#include "server/simulate_days.h"

namespace qrx::test {
namespace {

template <class Record>
bool SameBytes(const std::vector<Record>& a, const std::vector<Record>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Record)) == 0);
}
bool SameBytes(const Day& a, const Day& b) {
    return SameBytes(a.vecTicks, b.vecTicks) && SameBytes(a.vecSnapshots, b.vecSnapshots) &&
           SameBytes(a.vecQueues, b.vecQueues) && SameBytes(a.vecMinutes, b.vecMinutes) &&
           SameBytes(a.vecTrades, b.vecTrades) && SameBytes(a.vecOrders, b.vecOrders) &&
           std::memcmp(&a.daily, &b.daily, sizeof a.daily) == 0 &&
           std::tie(a.nPrevClose, a.nPrevSettle, a.nPrevInterest, a.nSettle) ==
               std::tie(b.nPrevClose, b.nPrevSettle, b.nPrevInterest, b.nSettle);
}

struct Sum {
    int nOpen = 0, nHigh = 0, nLow = 0, nClose = 0, nTrades = 0;
    int64_t iVolume = 0, iTurnover = 0;
    auto operator<=>(const Sum&) const = default;

    void Add(int nPrice, int64_t iMoreVolume, int64_t iMoreTurnover) {
        if (nTrades++ == 0) nOpen = nHigh = nLow = nPrice;
        nHigh = std::max(nHigh, nPrice);
        nLow = std::min(nLow, nPrice);
        nClose = nPrice;
        iVolume += iMoreVolume;
        iTurnover += iMoreTurnover;
    }
};
Sum SumOf(const ZPMDefine_KData& bar) {
    return {bar.nOpen,       bar.nHigh,   bar.nLow,     bar.nClose,
            bar.nMatchItems, bar.iVolume, bar.iTurnover};
}

TEST(Simulate, BarsTicksAndSnapshotsAgreeWithTheTrades) {
    Simulator simulator = Make(kMonday, 2);
    for (const int nDate : simulator.TradingDays()) {
        for (const Instrument& instrument : simulator.Instruments()) {
            if (instrument.IsIndex()) continue;
            SCOPED_TRACE(instrument.strCode + " " + std::to_string(nDate));
            const Day day = simulator.RunDay(instrument, nDate);
            Sum total;
            std::map<int64_t, Sum> minutes;  // by axis time, HHMM
            std::vector<std::tuple<int64_t, int64_t, int64_t>> vecRunning = {{0, 0, 0}};
            for (const auto& trade : day.vecTrades) {
                const int64_t nAxis = Axis(trade.nTime);
                ASSERT_GE(nAxis, std::get<0>(vecRunning.back()));
                const int64_t iVolume = trade.nTradeValue[1];
                const int64_t iTurnover = iVolume * trade.nTradeValue[0] * instrument.nMultiplier;
                ASSERT_EQ(+trade.nTradeValue[0] % instrument.nTick, 0);
                total.Add(trade.nTradeValue[0], iVolume, iTurnover);
                minutes[nAxis / 100000].Add(trade.nTradeValue[0], iVolume, iTurnover);
                vecRunning.emplace_back(nAxis, total.iVolume, total.iTurnover);
            }
            EXPECT_EQ(SumOf(day.daily), total);
            EXPECT_EQ(+day.daily.nDate, nDate);
            EXPECT_GT(total.nTrades, 1000);
            ASSERT_EQ(day.vecMinutes.size(), minutes.size());
            auto itBar = day.vecMinutes.begin();
            for (const auto& [nMinute, sum] : minutes) {
                EXPECT_EQ(Axis(itBar->nTime * 1000) / 100000, nMinute);
                EXPECT_EQ(itBar->nTime % 100, 0);
                EXPECT_EQ(SumOf(*itBar++), sum);
            }

            // What was taken at T covers the trades before T.
            size_t nNext = 0;
            int64_t iVolume = 0, iTurnover = 0;
            const auto checkRunning = [&](const auto& record, int nTaken) {
                while (nNext + 1 < vecRunning.size() &&
                       std::get<0>(vecRunning[nNext + 1]) < Axis(nTaken)) {
                    nNext++;
                }
                iVolume += record.iVolume;
                iTurnover += record.iTurnover;
                EXPECT_EQ(iVolume, std::get<1>(vecRunning[nNext])) << nTaken;
                EXPECT_EQ(iTurnover, std::get<2>(vecRunning[nNext])) << nTaken;
            };
            for (const auto& tick : day.vecTicks) {
                checkRunning(tick, tick.nTime);
                EXPECT_EQ(+tick.iAccVolume, iVolume);
                EXPECT_EQ(+tick.iAccTurnover, iTurnover);
                EXPECT_EQ(+tick.nTickField1, static_cast<int>(nNext));
            }
            const std::vector<int> vecTaken = TakenAt(instrument, day);
            for (size_t i = 0; i < vecTaken.size(); i++) {
                checkRunning(day.vecSnapshots[i], vecTaken[i]);
            }
            EXPECT_EQ(iVolume, total.iVolume);
            EXPECT_EQ(instrument.IsStock(), !day.vecTicks.empty());
            EXPECT_EQ(instrument.IsContract(), !day.vecSnapshots.empty());
            if (instrument.IsContract()) {
                const int64_t nAverage = total.iTurnover / (total.iVolume * instrument.nMultiplier);
                EXPECT_EQ(day.nSettle, nAverage - nAverage % instrument.nTick);
                for (const auto& snapshot : day.vecSnapshots) {
                    const bool bLast = &snapshot == &day.vecSnapshots.back();
                    ASSERT_EQ(+snapshot.nSettle, bLast ? day.nSettle : 0);
                }
                const auto& last = day.vecSnapshots.back();
                EXPECT_EQ(std::tuple(+last.nValue1, +last.nValue2, +last.nValue3, +last.nValue0),
                          std::tuple(+day.daily.nOpen, +day.daily.nHigh, +day.daily.nLow,
                                     +day.daily.nClose));
                EXPECT_EQ(+last.nPosition, +day.daily.nInterest);
            }
        }
    }
}

// Sessions by hand: pre-open stamp (0: none), begin and end, each with its calendar date.
struct HandSegment {
    int nDate, nPreOpen, nBegin, nEndDate, nEnd;
};
using Segments = std::vector<HandSegment>;

Segments Commodity(int nDate, const Segments& night) {
    Segments all = night;
    all.push_back({nDate, 85900500, 90000000, nDate, 101500000});
    all.push_back({nDate, 0, 103000000, nDate, 113000000});
    all.push_back({nDate, 0, 133000000, nDate, 150000000});
    return all;
}

TEST(Simulate, RecordsLieInTheSessions) {
    const auto night = [](int nDate, int nEndDate, int nEnd) {
        return Segments{{nDate, 205900500, 210000000, nEndDate, nEnd}};
    };
    const Segments kFinancial = {{kMonday, 91400500, 91500000, kMonday, 113000000},
                                 {kMonday, 0, 130000000, kMonday, 151500000}};
    const Segments kStock = {{kMonday, 0, 93000000, kMonday, 113000000},
                             {kMonday, 0, 130000000, kMonday, 150000000}};
    const struct {
        const char* szMarket;
        const char* szCode;
        int nDay;
        Segments night;
        Segments all = Commodity(nDay, night);
    } cases[] = {
        {"SHF", "au2403", kMonday, night(20240112, 20240113, 23000000)},
        {"SHF", "ag2403", 20240117, night(20240116, 20240117, 23000000)},
        {"SHF", "cu2403", kMonday, night(20240112, 20240113, 10000000)},
        {"SHF", "rb2403", kMonday, night(20240112, 20240113, 10000000)},
        {"SHF", "ru2403", kMonday, night(20240112, 20240112, 230000000)},
        {"SHF", "wr2403", kMonday, {}},
        {"DCE", "jm2403", kMonday, night(20240112, 20240113, 23000000)},
        {"DCE", "p2403", 20240301, night(20240229, 20240301, 23000000)},
        {"DCE", "a2403", kMonday, {}},
        {"DCE", "c2403-c-2400", kMonday, {}},
        {"CZC", "SR403", kMonday, night(20240112, 20240112, 233000000)},
        {"CZC", "TA403", kMonday, night(20240112, 20240112, 233000000)},
        {"CZC", "WH403", kMonday, {}},
        {"SHF", "au2403", 20130705, {}},
        {"SHF", "au2403", 20130708, night(20130705, 20130706, 23000000)},
        {"SHF", "cu2403", 20131220, {}},
        {"SHF", "rb2403", 20141226, {}},
        {"DCE", "jm2403", 20140604, {}},
        {"CZC", "SR403", 20141212, {}},
        {"CF", "IF2403", kMonday, {}, kFinancial},
        {"CF", "IO2403-C-3500", kMonday, {}, kFinancial},
        {"SH", "600000", kMonday, {}, kStock},
        {"SZ", "399001", kMonday, {}, kStock},
    };
    Simulator simulator = Make(kMonday);
    for (const auto& testCase : cases) {
        SCOPED_TRACE(std::string(testCase.szCode) + " " + std::to_string(testCase.nDay));
        const Day day =
            simulator.RunDay(Find(simulator, testCase.szCode, testCase.szMarket), testCase.nDay);
        std::vector<int> vecEnds(testCase.all.size()), vecPreOpens(testCase.all.size());
        // DCE has whole seconds: up to two snapshots with one stamp, the second of the opening
        // among them, and the pre-open half a second before that of the others.
        const int nFloor = strcmp(testCase.szMarket, "DCE") == 0 ? 500 : 0;
        std::pair<int, int> previous = {0, 0}, beforePrevious = {0, 0};
        const auto check = [&](const auto& record, int nStep) {
            const std::pair stamp(+record.nDate, +record.nTime);
            ASSERT_GE(stamp, previous);
            ASSERT_GT(stamp, nFloor == 0 ? previous : beforePrevious);
            ASSERT_EQ(record.nTime % (nStep + nFloor), 0);
            beforePrevious = std::exchange(previous, stamp);
            int nFound = 0;
            for (size_t i = 0; i < vecEnds.size(); i++) {
                const HandSegment& segment = testCase.all[i];
                const std::pair end(segment.nEndDate, segment.nEnd);
                const bool bPreOpen = segment.nPreOpen != 0 &&
                                      stamp == std::pair(segment.nDate, segment.nPreOpen - nFloor);
                const std::pair begin(segment.nDate, segment.nBegin);
                vecEnds[i] += stamp == end;
                vecPreOpens[i] += bPreOpen;
                nFound +=
                    bPreOpen || (stamp <= end && (nFloor == 0 ? stamp > begin : stamp >= begin));
            }
            ASSERT_EQ(nFound, 1) << +record.nDate << " " << +record.nTime;
        };
        for (const auto& tick : day.vecTicks) ASSERT_NO_FATAL_FAILURE(check(tick, 1000));
        for (const auto& record : day.vecSnapshots) ASSERT_NO_FATAL_FAILURE(check(record, 500));
        EXPECT_EQ(day.vecTicks.size(), day.vecSnapshots.empty() ? 4800U : 0U);  // one in 3 s
        // Every segment with a snapshot at its end and, where it has one, before its opening.
        for (size_t i = 0; i < vecEnds.size(); i++) {
            EXPECT_EQ(vecEnds[i], 1);
            EXPECT_EQ(vecPreOpens[i], testCase.all[i].nPreOpen != 0 ? 1 : 0);
        }

        // Minutes begin inside a segment, and each segment's first minute has a bar.
        size_t nOpenings = 0;
        for (const auto& bar : day.vecMinutes) {
            const std::pair stamp(+bar.nDate, bar.nTime * 1000);
            int nFound = 0;
            for (const HandSegment& segment : testCase.all) {
                const std::pair begin(segment.nDate, segment.nBegin);
                nOpenings += stamp == begin;
                nFound += stamp >= begin && stamp < std::pair(segment.nEndDate, segment.nEnd);
            }
            ASSERT_EQ(nFound, 1) << +bar.nDate << " " << +bar.nTime;
        }
        EXPECT_EQ(nOpenings, testCase.all.size());
    }
}

TEST(Simulate, EachDayGoesOnFromTheDayBefore) {
    Simulator simulator = Make(20240121, 4);  // a Sunday: the week before it
    EXPECT_EQ(simulator.TradingDays(), (std::vector<int>{20240116, 20240117, 20240118, 20240119}));
    EXPECT_EQ(Make(20240120).TradingDays(), std::vector<int>{20240119});
    for (const Instrument& instrument : simulator.Instruments()) {
        SCOPED_TRACE(instrument.strCode);
        Day previous = simulator.RunDay(instrument, kMonday);
        for (const int nDate : simulator.TradingDays()) {
            const Day day = simulator.RunDay(instrument, nDate);
            EXPECT_EQ(day.nPrevClose, +previous.daily.nClose);
            EXPECT_EQ(day.nPrevSettle, previous.nSettle);
            EXPECT_EQ(day.nPrevInterest, +previous.daily.nInterest);
            previous = day;
        }
    }
}

TEST(Simulate, ADayDependsOnSeedAndDateAlone) {
    Simulator first = Make(20240119, 5);
    Simulator second = Make(kMonday, 1, 7, {"CF", "SZ", "SHF"});
    EXPECT_EQ(second.Instruments().size(), 13U);
    Simulator other = Make(20240119, 5, 8);
    for (const Instrument& instrument : second.Instruments()) {
        SCOPED_TRACE(instrument.strCode);
        for (const int nDate : first.TradingDays()) first.RunDay(instrument, nDate);
        const Day day = second.RunDay(instrument, 20240118);
        EXPECT_TRUE(SameBytes(first.RunDay(instrument, 20240118), day));
        EXPECT_FALSE(SameBytes(other.RunDay(instrument, 20240118), day));
        EXPECT_FALSE(SameBytes(first.RunDay(instrument, 20240117), day));
    }
}

TEST(Simulate, AnIndexIsTheMeanOfItsStocks) {
    Simulator simulator = Make(kMonday);
    for (const auto& [szMarket, szIndex] : {std::pair("SH", "000001"), std::pair("SZ", "399001")}) {
        const Instrument& index = Find(simulator, szIndex, szMarket);
        const Day day = simulator.RunDay(index, kMonday);
        std::vector<double> vecLevel(day.vecTicks.size());
        std::vector<int64_t> vecTurnover(day.vecTicks.size());
        std::vector<std::array<int, 3>> vecMoves(day.vecTicks.size());  // up, down, neither
        int nStocks = 0;
        for (const Instrument& stock : simulator.Instruments()) {
            if (!stock.IsStock() || stock.strMarket != szMarket) continue;
            nStocks++;
            const Day stockDay = simulator.RunDay(stock, kMonday);
            for (size_t i = 0; i < vecLevel.size(); i++) {
                vecLevel[i] += 1.0 * stockDay.vecTicks[i].nPrice / stock.nBasePrice;
                vecTurnover[i] += stockDay.vecTicks[i].iTurnover;
                const int nMove = stockDay.vecTicks[i].nPrice - stockDay.nPrevClose;
                vecMoves[i][nMove > 0 ? 0 : nMove < 0 ? 1 : 2]++;
            }
        }
        std::map<int, Sum> minutes;
        for (size_t i = 0; i < vecLevel.size(); i++) {
            const auto& tick = day.vecTicks[i];
            EXPECT_NEAR(+tick.nPrice, index.nBasePrice * vecLevel[i] / nStocks, 101);
            EXPECT_EQ(tick.nPrice % 100, 0);
            EXPECT_EQ(+tick.iTurnover, vecTurnover[i]);
            EXPECT_EQ(+tick.nBook1[0] | +tick.nBook4[9] | +tick.nABField1, 0);
            EXPECT_EQ(
                (std::array{+tick.nIndexField[0], +tick.nIndexField[1], +tick.nIndexField[2]}),
                vecMoves[i]);
            // Three seconds that end at a whole minute belong to the minute before.
            int nMinute = tick.nTime / 100000;
            if (tick.nTime % 100000 == 0) nMinute -= nMinute % 100 == 0 ? 41 : 1;
            minutes[nMinute].Add(tick.nPrice, tick.iVolume, tick.iTurnover);
        }
        ASSERT_EQ(day.vecMinutes.size(), 240U);
        auto itBar = day.vecMinutes.begin();
        for (auto& [nMinute, sum] : minutes) {
            EXPECT_EQ(+itBar->nTime, nMinute * 100);
            sum.nTrades = itBar->nMatchItems;
            EXPECT_EQ(SumOf(*itBar++), sum);
        }
        EXPECT_EQ(+day.daily.nClose, +day.vecTicks.back().nPrice);
        EXPECT_EQ(+day.daily.iTurnover, +day.vecTicks.back().iAccTurnover);
        EXPECT_EQ(+day.daily.nMatchItems, +day.vecTicks.back().nTickField1);
    }
}

TEST(Simulate, CodesCarryTheComingQuarterMonthAndFitTheWire) {
    for (const auto& [nEnd, szCu, szSr] :
         {std::tuple(20240115, "cu2403", "SR403"), std::tuple(20240229, "cu2403", "SR403"),
          std::tuple(20240301, "cu2406", "SR406"), std::tuple(20241130, "cu2412", "SR412"),
          std::tuple(20241202, "cu2503", "SR503"), std::tuple(20090702, "cu0909", "SR909")}) {
        const Simulator simulator = Make(nEnd);
        EXPECT_NO_THROW(Find(simulator, szCu, "SHF"));
        EXPECT_NO_THROW(Find(simulator, szSr, "CZC"));
        for (const Instrument& instrument : simulator.Instruments()) {
            const bool bOption = (instrument.nType & 0xF0) == 0x90;
            EXPECT_LE(instrument.strCode.size(), bOption ? 16U : 8U);
            EXPECT_LE(instrument.strName.size(), 32U);
            EXPECT_TRUE(bOption || !instrument.IsContract() ||
                        (instrument.nType >= 112 && instrument.nType <= 125));
        }
    }
}

}  // namespace
}  // namespace qrx::test
