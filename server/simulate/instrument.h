// The simulated universe: what an instrument is, and which there are.
//
// Prices are integers in units of 1/10000 of the currency; volumes are shares or contracts; a
// turnover is price times volume times multiplier, in the same unit as prices.
#ifndef QRX_SERVER_SIMULATE_INSTRUMENT_H
#define QRX_SERVER_SIMULATE_INSTRUMENT_H

#include <cstdint>
#include <string>
#include <vector>

namespace qrx::simulate {

// The types of code tables that the simulator uses.
constexpr int kIndexType = 1;
constexpr int kStockType = 16;
constexpr int kCommodityType = 112;
constexpr int kFinancialType = 113;
constexpr int kOptionType = 0x90;

struct Instrument {
    std::string strMarket;
    std::string strCode;  // the server's code, in the exchange's letter case
    std::string strName;  // UTF-8
    int nType;
    int nTick;        // smallest price step
    int nLot;         // smallest order volume
    int nMultiplier;  // units in a contract; 1 for stocks

    // What shapes its days.
    int nBasePrice;     // the price around which its closes wander
    int nBand;          // permille that a day's orders may lie away from the previous close
    int nDailyMove;     // standard deviation of a day's move, in millionths of nBasePrice
    int nEvents;        // about how many order events a day of four hours has
    int nBaseInterest;  // open interest around which it wanders; 0 for stocks and indexes

    bool IsIndex() const { return nType == kIndexType; }
    bool IsStock() const { return nType == kStockType; }
    // Futures and options: half-second snapshots instead of ticks.
    bool IsContract() const { return !IsIndex() && !IsStock(); }
    // Snapshots carry the second in which they are taken, as the pairs of slots of this market's
    // grid want it: up to two share a stamp.
    bool StampsWholeSeconds() const { return strMarket == "DCE"; }
};

// All instruments, market by market. Contracts carry as delivery month the first of March, June,
// September and December that comes after the month of nEndDate.
std::vector<Instrument> MakeUniverse(int nEndDate);

}  // namespace qrx::simulate

#endif
