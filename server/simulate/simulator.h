// The market simulator: instruments, trading days, and any day of any instrument on demand.
//
// A generator of numbers and nothing else: no store, no network, no clock. The same options give
// the same bytes, and a day is the same whichever days were made before it. An object serves one
// thread at a time; two objects share nothing.
#ifndef QRX_SERVER_SIMULATE_SIMULATOR_H
#define QRX_SERVER_SIMULATE_SIMULATOR_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulate/day.h"
#include "simulate/instrument.h"

namespace qrx::simulate {

struct Options {
    uint64_t iSeed = 1;
    int nDays = 1;                        // trading days, the last of them at nEndDate
    int nEndDate = 0;                     // YYYYMMDD; a weekend means the Friday before it
    std::vector<std::string> vecMarkets;  // upper case; empty means all
};

class Simulator {
public:
    explicit Simulator(const Options& options);

    // The instruments of the markets asked for, market by market in the order of the universe.
    const std::vector<Instrument>& Instruments() const { return m_vecInstruments; }

    // The weekdays to make, in order.
    const std::vector<int>& TradingDays() const { return m_vecDays; }

    // One trading day, which need not be one of TradingDays() but must be a weekday. A contract's
    // first day takes twice as long: its previous settlement is computed from the day before.
    Day RunDay(const Instrument& instrument, int nTradingDay);

    // The markets that there are.
    static std::vector<std::string> Markets();

private:
    Day RunFlow(const Instrument& instrument, int nTradingDay) const;
    Day RunIndex(const Instrument& index, int nTradingDay) const;

    uint64_t m_iSeed;
    std::vector<Instrument> m_vecUniverse;  // whatever the markets asked for
    std::vector<Instrument> m_vecInstruments;
    std::vector<int> m_vecDays;
    // Settlement prices by market and code, and day: of the last day made of each contract.
    std::map<std::pair<std::string, std::string>, std::pair<int, int>> m_mapSettle;
};

}  // namespace qrx::simulate

#endif
