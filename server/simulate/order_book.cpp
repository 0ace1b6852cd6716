// Matching; see the header.
#include "simulate/order_book.h"

#include <algorithm>
#include <limits>

namespace qrx::simulate {

int OrderBook::AddLimit(int nNumber, Side side, int nPrice, int nVolume,
                        std::vector<Fill>& vecFills) {
    const int nLeft = Match(nNumber, side, Key(Opposite(side), nPrice), nVolume, vecFills);
    if (nLeft == 0) return 0;

    m_vecOrders.resize(std::max(m_vecOrders.size(), static_cast<size_t>(nNumber) + 1));
    At(nNumber) = {side, nPrice, nLeft, RestingCount()};
    m_vecResting.push_back(nNumber);
    Level& level = m_levels[Slot(side)][Key(side, nPrice)];
    level.nPrice = nPrice;
    level.nVolume += nLeft;
    level.vecOrders.push_back(nNumber);
    Count(side, nPrice, nLeft);
    return nLeft;
}

int OrderBook::AddMarket(int nNumber, Side side, int nVolume, std::vector<Fill>& vecFills) {
    return Match(nNumber, side, std::numeric_limits<int>::max(), nVolume, vecFills);
}

int OrderBook::Match(int nNumber, Side side, int nLimit, int nVolume, std::vector<Fill>& vecFills) {
    const Side other = Opposite(side);
    Levels& levels = m_levels[Slot(other)];
    while (nVolume > 0 && !levels.empty() && levels.begin()->first <= nLimit) {
        Level& level = levels.begin()->second;
        const int nResting = level.vecOrders.front();
        Order& order = At(nResting);
        const int nTraded = std::min(nVolume, order.nLeft);
        vecFills.push_back({level.nPrice, nTraded, side == Side::kAsk ? nNumber : nResting,
                            side == Side::kAsk ? nResting : nNumber});
        nVolume -= nTraded;
        order.nLeft -= nTraded;
        level.nVolume -= nTraded;
        Count(other, level.nPrice, -nTraded);
        if (order.nLeft > 0) break;
        DropResting(order);
        level.vecOrders.pop_front();
        if (level.vecOrders.empty()) levels.erase(levels.begin());
    }
    return nVolume;
}

void OrderBook::Cancel(int nNumber) {
    Order& order = At(nNumber);
    Levels& levels = m_levels[Slot(order.side)];
    const auto it = levels.find(Key(order.side, order.nPrice));
    Level& level = it->second;
    level.vecOrders.erase(std::find(level.vecOrders.begin(), level.vecOrders.end(), nNumber));
    level.nVolume -= order.nLeft;
    Count(order.side, order.nPrice, -order.nLeft);
    if (level.vecOrders.empty()) levels.erase(it);
    order.nLeft = 0;
    DropResting(order);
}

int64_t OrderBook::VolumeBetter(Side side, int nPrice) const {
    int64_t nSum = 0;
    for (const auto& [nKey, level] : LevelsOf(side)) {
        if (nKey >= Key(side, nPrice)) break;
        nSum += level.nVolume;
    }
    return nSum;
}

void OrderBook::Count(Side side, int nPrice, int64_t nVolume) {
    m_iVolume[Slot(side)] += nVolume;
    m_iValue[Slot(side)] += nPrice * nVolume;
}

void OrderBook::DropResting(Order& order) {
    const int nLast = m_vecResting.back();
    m_vecResting[static_cast<size_t>(order.nResting)] = nLast;
    At(nLast).nResting = order.nResting;
    m_vecResting.pop_back();
    order.nResting = -1;
}

}  // namespace qrx::simulate
