// Running totals of a day's trades, and the minute bars made from the same trades.
#ifndef QRX_SERVER_SIMULATE_TALLY_H
#define QRX_SERVER_SIMULATE_TALLY_H

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "codec/kline_records.h"
#include "simulate/sessions.h"

namespace qrx::simulate {

// Opens, or goes on with, a bar by trades (or index values) at nPrice.
inline void AddToBar(ZPMDefine_KData& bar, int nPrice, int64_t iVolume, int64_t iTurnover,
                     int nTrades, int nInterest) {
    if (bar.nOpen == 0) bar.nOpen = bar.nHigh = bar.nLow = nPrice;
    bar.nHigh = std::max(int{bar.nHigh}, nPrice);
    bar.nLow = std::min(int{bar.nLow}, nPrice);
    bar.nClose = nPrice;
    bar.iVolume += iVolume;
    bar.iTurnover += iTurnover;
    bar.nMatchItems += nTrades;
    bar.nInterest = nInterest;
}

class Tally {
public:
    // nMs is a time of the segment; bars begin at whole minutes.
    void Add(const Segment& segment, int nMs, int nPrice, int64_t iVolume, int64_t iTurnover,
             int nTrades, int nInterest) {
        const Stamp stamp = StampOf(segment, nMs / 60000 * 60000);
        const int nTime = stamp.nTime / 1000;
        if (m_vecMinutes.empty() || m_vecMinutes.back().nTime != nTime ||
            m_vecMinutes.back().nDate != stamp.nDate) {
            m_vecMinutes.push_back({});
            m_vecMinutes.back().nDate = stamp.nDate;
            m_vecMinutes.back().nTime = nTime;
        }
        AddToBar(m_vecMinutes.back(), nPrice, iVolume, iTurnover, nTrades, nInterest);
        AddToBar(m_day, nPrice, iVolume, iTurnover, nTrades, nInterest);
    }

    // The day so far as one bar, without a date.
    const ZPMDefine_KData& Total() const { return m_day; }
    std::vector<ZPMDefine_KData> TakeMinutes() { return std::move(m_vecMinutes); }

private:
    ZPMDefine_KData m_day = {};
    std::vector<ZPMDefine_KData> m_vecMinutes;
};

}  // namespace qrx::simulate

#endif
