// A matching limit order book with price-time priority.
//
// It matches and counts, nothing else: no clock, no records, no random numbers. An incoming order
// trades at the prices of the resting orders, best price first and oldest first within a price.
#ifndef QRX_SERVER_SIMULATE_ORDER_BOOK_H
#define QRX_SERVER_SIMULATE_ORDER_BOOK_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

namespace qrx::simulate {

enum class Side : uint8_t { kAsk, kBid };
constexpr Side Opposite(Side side) {
    return side == Side::kAsk ? Side::kBid : Side::kAsk;
}

struct Fill {
    int nPrice;
    int nVolume;
    int nAskOrder;
    int nBidOrder;
};

struct Level {
    int nPrice = 0;
    int64_t nVolume = 0;
    std::deque<int> vecOrders;  // order numbers, oldest first
};

class OrderBook {
public:
    // Levels of one side under keys that ascend from the best price on.
    using Levels = std::map<int, Level>;

    // Both take order number nNumber, append the fills and return what of nVolume has not traded;
    // a limit order rests with it, of a market order it is gone. Numbers count up from 1.
    int AddLimit(int nNumber, Side side, int nPrice, int nVolume, std::vector<Fill>& vecFills);
    int AddMarket(int nNumber, Side side, int nVolume, std::vector<Fill>& vecFills);

    // Takes a resting order out.
    void Cancel(int nNumber);

    const Levels& LevelsOf(Side side) const { return m_levels[Slot(side)]; }
    bool Empty(Side side) const { return LevelsOf(side).empty(); }
    int Best(Side side) const { return LevelsOf(side).begin()->second.nPrice; }

    // Volume of a side, and the sum of price times volume over it.
    int64_t Volume(Side side) const { return m_iVolume[Slot(side)]; }
    int64_t Value(Side side) const { return m_iValue[Slot(side)]; }
    // Volume of a side at prices better than nPrice.
    int64_t VolumeBetter(Side side, int nPrice) const;

    // Resting orders in no particular order, to draw one from.
    int RestingCount() const { return static_cast<int>(m_vecResting.size()); }
    int RestingAt(int nIndex) const { return m_vecResting[static_cast<size_t>(nIndex)]; }
    int PriceOf(int nNumber) const { return At(nNumber).nPrice; }
    int LeftOf(int nNumber) const { return At(nNumber).nLeft; }
    Side SideOf(int nNumber) const { return At(nNumber).side; }

private:
    struct Order {
        Side side = Side::kAsk;
        int nPrice = 0;
        int nLeft = 0;
        int nResting = -1;  // its place in m_vecResting
    };

    static size_t Slot(Side side) { return static_cast<size_t>(side); }
    static int Key(Side side, int nPrice) { return side == Side::kAsk ? nPrice : -nPrice; }
    const Order& At(int nNumber) const { return m_vecOrders[static_cast<size_t>(nNumber)]; }
    Order& At(int nNumber) { return m_vecOrders[static_cast<size_t>(nNumber)]; }
    // Trades against the other side up to the key nLimit of that side; returns what is left.
    int Match(int nNumber, Side side, int nLimit, int nVolume, std::vector<Fill>& vecFills);
    void Count(Side side, int nPrice, int64_t nVolume);
    void DropResting(Order& order);

    Levels m_levels[2];
    int64_t m_iVolume[2] = {};
    int64_t m_iValue[2] = {};
    std::vector<Order> m_vecOrders = std::vector<Order>(1);  // by number
    std::vector<int> m_vecResting;
};

}  // namespace qrx::simulate

#endif
