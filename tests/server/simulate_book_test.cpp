// The simulator's trades, books and queues against a plain book that replays the order messages.
#include <algorithm>
#include <map>
#include <set>

#include "server/simulate_days.h"
#include "support/date_time.h"

namespace qrx::test {
namespace {

// The plainest book: resting orders by side, price rank and number.
struct PlainBook {
    struct Resting {
        int nPrice;
        int nLeft;
    };
    std::map<std::pair<int, int>, Resting> sides[2];  // 0 asks, 1 bids

    static std::pair<int, int> Key(int nSide, int nPrice, int nNumber) {
        return {nSide == 0 ? nPrice : -nPrice, nNumber};
    }
    // Takes one message and, from itTrade on, the trades that it must have made.
    template <class It>
    void Take(const ZPMDefine_Order_v2& order, It& itTrade, It itEnd) {
        const int nSide = order.chFlag2 == 'B' ? 1 : 0;
        const int nNumber = order.nOrderField;
        if (order.chFlag1 == 'D') {
            if (nNumber == nMarket) {  // the rest of a market order
                ASSERT_EQ(+order.nOrderValue2, nMarketLeft);
                return;
            }
            const auto it = sides[nSide].find(Key(nSide, order.nOrderValue1, nNumber));
            ASSERT_NE(it, sides[nSide].end());
            ASSERT_EQ(it->second.nLeft, +order.nOrderValue2);
            sides[nSide].erase(it);
            return;
        }
        const bool bMarket = order.chFlag1 == '1';
        int nLeft = order.nOrderValue2;
        auto& other = sides[1 - nSide];
        while (nLeft > 0 && !other.empty()) {
            const auto best = other.begin();
            const int nPrice = best->second.nPrice;
            if (!bMarket &&
                (nSide == 1 ? nPrice > order.nOrderValue1 : nPrice < order.nOrderValue1))
                break;
            ASSERT_NE(itTrade, itEnd);
            const int nTraded = std::min(nLeft, best->second.nLeft);
            ASSERT_EQ(+itTrade->nTime, +order.nTime);
            ASSERT_EQ(+itTrade->chFlag3, +order.chFlag2);
            ASSERT_EQ(+itTrade->nTradeValue[0], nPrice);
            ASSERT_EQ(+itTrade->nTradeValue[1], nTraded);
            ASSERT_EQ(+itTrade->nTradeValue[2], nSide == 0 ? nNumber : best->first.second);
            ASSERT_EQ(+itTrade->nTradeValue4, nSide == 1 ? nNumber : best->first.second);
            ++itTrade;
            nLeft -= nTraded;
            best->second.nLeft -= nTraded;
            if (best->second.nLeft == 0) other.erase(best);
        }
        if (bMarket) {
            nMarket = nNumber;
            nMarketLeft = nLeft;
        } else if (nLeft > 0) {
            sides[nSide][Key(nSide, order.nOrderValue1, nNumber)] = {order.nOrderValue1, nLeft};
        }
    }
    int nMarket = 0;
    int nMarketLeft = 0;

    // The record's level i by levelOf: the arrays of a packed record cannot be passed themselves.
    template <class LevelOf>
    void CheckLevels(int nSide, size_t nLevels, LevelOf levelOf) const {
        std::vector<std::pair<int, int>> vecLevels;
        for (const auto& [key, resting] : sides[nSide]) {
            if (vecLevels.empty() || vecLevels.back().first != resting.nPrice) {
                if (vecLevels.size() == nLevels) break;
                vecLevels.emplace_back(resting.nPrice, 0);
            }
            vecLevels.back().second += resting.nLeft;
        }
        vecLevels.resize(nLevels);
        for (size_t i = 0; i < nLevels; i++) ASSERT_EQ(levelOf(i), vecLevels[i]);
    }
    template <class Record>
    void CheckBook(const Record& record) const {
        constexpr size_t kLevels = sizeof record.nBook1 / sizeof(int32_t);
        CheckLevels(0, kLevels, [&](size_t i) {
            return std::pair<int, int>(+record.nBook1[i], +record.nBook2[i]);
        });
        CheckLevels(1, kLevels, [&](size_t i) {
            return std::pair<int, int>(+record.nBook3[i], +record.nBook4[i]);
        });
    }
    void CheckTotals(int nSide, int nAverage, int64_t iTotal) const {
        int64_t iVolume = 0, iValue = 0;
        for (const auto& [key, resting] : sides[nSide]) {
            iVolume += resting.nLeft;
            iValue += int64_t{resting.nLeft} * resting.nPrice;
        }
        ASSERT_EQ(iTotal, iVolume);
        ASSERT_EQ(nAverage, iVolume == 0 ? 0 : iValue / iVolume);
    }
    void CheckQueue(const ZPMDefine_OrderQueue& queue) const {
        const auto& side = sides[queue.nQueueField[1] == 'B' ? 1 : 0];
        std::vector<int> vecItems;
        for (const auto& [key, resting] : side) {
            if (resting.nPrice == queue.nQueueField[0]) vecItems.push_back(resting.nLeft);
        }
        ASSERT_EQ(+queue.nQueueField[0], side.begin()->second.nPrice);
        ASSERT_EQ(+queue.nQueueField[2], static_cast<int>(vecItems.size()));
        vecItems.resize(50);
        ASSERT_EQ(+queue.nQueueField[3], 50 - std::count(vecItems.begin(), vecItems.end(), 0));
        for (size_t i = 0; i < 50; i++) ASSERT_EQ(+queue.nQueueItems[i], vecItems[i]);
    }
};

TEST(Simulate, AReplayOfTheOrdersGivesTradesAndBooks) {
    Simulator simulator = Make(kMonday);
    for (const Instrument& instrument : simulator.Instruments()) {
        if (instrument.IsIndex()) continue;
        SCOPED_TRACE(instrument.strCode);
        const Day day = simulator.RunDay(instrument, kMonday);
        EXPECT_EQ(day.vecQueues.size(), 2 * day.vecTicks.size());
        PlainBook book;
        auto itOrder = day.vecOrders.begin();
        auto itTrade = day.vecTrades.begin();
        const auto replayTo = [&](int nTime) {
            for (; itOrder != day.vecOrders.end() && Axis(itOrder->nTime) < Axis(nTime);
                 ++itOrder) {
                ASSERT_EQ(+itOrder->nIndex, itOrder - day.vecOrders.begin() + 1);
                if (itOrder->nOrderValue1 != 0) {
                    ASSERT_LE(std::abs(+itOrder->nOrderValue1 - day.nPrevClose),
                              int64_t{day.nPrevClose} * instrument.nBand / 1000);
                    ASSERT_EQ(itOrder->nOrderValue1 % instrument.nTick, 0);
                }
                ASSERT_GT(+itOrder->nOrderValue2, 0);
                ASSERT_EQ(itOrder->nOrderValue2 % instrument.nLot, 0);
                book.Take(*itOrder, itTrade, day.vecTrades.end());
            }
            ASSERT_TRUE(book.sides[0].empty() || book.sides[1].empty() ||
                        book.sides[0].begin()->second.nPrice >
                            book.sides[1].begin()->second.nPrice);
        };
        auto itQueue = day.vecQueues.begin();
        for (const auto& tick : day.vecTicks) {
            ASSERT_NO_FATAL_FAILURE(replayTo(tick.nTime));
            ASSERT_NO_FATAL_FAILURE(book.CheckBook(tick)) << +tick.nTime;
            ASSERT_NO_FATAL_FAILURE(book.CheckTotals(0, tick.nABField1, tick.iABField3));
            ASSERT_NO_FATAL_FAILURE(book.CheckTotals(1, tick.nABField2, tick.iABField4));
            for (int i = 0; i < 2; i++, ++itQueue) {
                ASSERT_EQ(+itQueue->nTime, +tick.nTime);
                ASSERT_NO_FATAL_FAILURE(book.CheckQueue(*itQueue));
            }
        }
        const std::vector<int> vecTaken = TakenAt(instrument, day);
        for (size_t i = 0; i < vecTaken.size(); i++) {
            ASSERT_NO_FATAL_FAILURE(replayTo(vecTaken[i])) << vecTaken[i];
            ASSERT_NO_FATAL_FAILURE(book.CheckBook(day.vecSnapshots[i])) << vecTaken[i];
        }
        if (instrument.IsContract()) {  // whatever happens shows at the end of its half second
            std::set<int> setDue;
            const std::set<int> setTaken(vecTaken.begin(), vecTaken.end());
            for (const auto& order : day.vecOrders) {
                setDue.insert(BusinessConvertor::GetDiffTime(order.nTime, 500) / 500 * 500);
            }
            setDue.erase(240000000);  // midnight
            EXPECT_EQ(setTaken.size(), vecTaken.size());
            EXPECT_TRUE(
                std::includes(setTaken.begin(), setTaken.end(), setDue.begin(), setDue.end()));
        }
        EXPECT_EQ(itOrder, day.vecOrders.end());
        EXPECT_EQ(itTrade, day.vecTrades.end());
    }
}

}  // namespace
}  // namespace qrx::test
