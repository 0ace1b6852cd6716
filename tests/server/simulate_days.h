// What the simulator's tests share. A '+' before a record's field in them copies it: records are
// packed, and a reference must not be bound to their fields.
#ifndef QRX_TESTS_SERVER_SIMULATE_DAYS_H
#define QRX_TESTS_SERVER_SIMULATE_DAYS_H

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulate/simulator.h"

namespace qrx::test {

using simulate::Day;
using simulate::Instrument;
using simulate::Simulator;

constexpr int kMonday = 20240115;

inline Simulator Make(int nEndDate, int nDays = 1, uint64_t iSeed = 7,
                      std::vector<std::string> vecMarkets = {}) {
    return Simulator({iSeed, nDays, nEndDate, std::move(vecMarkets)});
}

inline const Instrument& Find(const Simulator& simulator, const std::string& strCode,
                              const std::string& strMarket) {
    for (const Instrument& instrument : simulator.Instruments()) {
        if (instrument.strMarket == strMarket && instrument.strCode == strCode) return instrument;
    }
    throw std::out_of_range(strCode);
}

// A clock time on one axis for the whole trading day, the night before first.
inline int64_t Axis(int nTime) {
    return nTime >= 200000000 ? nTime : int64_t{nTime} + 240000000;
}

}  // namespace qrx::test

#endif
