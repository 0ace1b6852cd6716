// What one instrument's simulated trading day consists of, as server records.
//
// Every number agrees with every other: the trades' volume, turnover and count are those of the
// ticks or snapshots, of the minute bars together and of the daily bar. A tick or snapshot taken at
// T covers what happened before T; a trade at T itself belongs to the next one, and to the bar that
// begins at T. It is stamped T, or with the second that T is in where the market's snapshots have
// whole seconds. The records' field meanings are those of the shared table of fields.
#ifndef QRX_SERVER_SIMULATE_DAY_H
#define QRX_SERVER_SIMULATE_DAY_H

#include <cstdint>
#include <vector>

#include "codec/future_records.h"
#include "codec/kline_records.h"
#include "codec/tick_records.h"

namespace qrx::simulate {

// Kinds of order messages (ZPMDefine_Order_v2::chFlag1) that occur. What a market order cannot
// trade at once is cancelled; its cancellation follows it.
constexpr int8_t kLimitOrder = 'A';
constexpr int8_t kMarketOrder = '1';
constexpr int8_t kCancelOrder = 'D';

struct Day {
    int nTradingDay = 0;

    // Of the trading day before. Settlement and interest are 0 for stocks and indexes.
    int nPrevClose = 0;
    int nPrevSettle = 0;
    int nPrevInterest = 0;
    // Volume-weighted average price, rounded down to a tick; 0 for stocks and indexes.
    int nSettle = 0;

    std::vector<ZPMDefine_Tick_AB_Night> vecTicks;        // stocks and indexes, every 3 s
    std::vector<ZPMDefine_Future_AB_Night> vecSnapshots;  // contracts, every half second
    std::vector<ZPMDefine_OrderQueue> vecQueues;          // stocks: ask and bid at every tick
    std::vector<ZPMDefine_KData> vecMinutes;              // minutes with trades, in order
    ZPMDefine_KData daily = {};                           // nDate is the trading day

    // Not for indexes. The exchanges of contracts publish neither: theirs are here so that the
    // day can be checked. These records carry no date; a night's come first.
    std::vector<ZPMDefine_Transaction_v2> vecTrades;
    std::vector<ZPMDefine_Order_v2> vecOrders;
};

}  // namespace qrx::simulate

#endif
