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

// When each snapshot was taken, by what its market's stamps say: half seconds, or on DCE seconds.
// Of two with one such second the later one was taken in its middle; so was a single one when the
// second's first half has messages for it to show.
inline std::vector<int> TakenAt(const Instrument& instrument, const Day& day) {
    std::vector<int> vecTaken;
    auto itOrder = day.vecOrders.begin();
    for (size_t i = 0; i < day.vecSnapshots.size(); i++) {
        const int nTime = day.vecSnapshots[i].nTime;
        const auto shares = [&](size_t j) {
            return j < day.vecSnapshots.size() && day.vecSnapshots[j].nTime == nTime;
        };
        const auto isBefore = [&](int nMs) {
            return itOrder != day.vecOrders.end() && Axis(itOrder->nTime) < Axis(nTime) + nMs;
        };
        while (isBefore(0)) ++itOrder;
        const bool bMiddle = shares(i - 1) || (!shares(i + 1) && isBefore(500));
        vecTaken.push_back(nTime + (instrument.strMarket == "DCE" && bMiddle ? 500 : 0));
    }
    return vecTaken;
}

}  // namespace qrx::test

#endif
