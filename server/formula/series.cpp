// Two waves and some noise around 10.00, half-hour bars of two hours a day. Prices move within
// every bar, so that HIGH - LOW is a divisor. Amounts are too large for a cell, as real ones are.
#include "formula/series.h"

#include <algorithm>
#include <cmath>

namespace qrx::server::formula {

std::vector<ZPMDefine_KData> BuiltInSeries() {
    constexpr int kDays = 160;
    constexpr int kTimes[] = {93000, 100000, 103000, 110000};
    std::vector<ZPMDefine_KData> vecBars;
    uint32_t nNoise = 1;
    int nLast = 100000;
    int nDate = 20240101;
    for (int nDay = 0; nDay < kDays; ++nDay) {
        nDate += nDate % 100 == 28 ? 73 : 1;  // months of 28 days
        for (const int nTime : kTimes) {
            nNoise = nNoise * 1664525 + 1013904223;
            const auto fAt = static_cast<double>(vecBars.size());
            const auto nClose =
                static_cast<int>(100000 + 9000 * std::sin(fAt / 40) + 2500 * std::sin(fAt / 7)) +
                static_cast<int>(nNoise >> 24) * 10;
            ZPMDefine_KData bar{};
            bar.nDate = nDate;
            bar.nTime = nTime;
            bar.nOpen = nLast;
            bar.nClose = nClose;
            bar.nHigh = std::max(nLast, nClose) + 100 + static_cast<int>(nNoise >> 20 & 15) * 10;
            bar.nLow = std::min(nLast, nClose) - 100 - static_cast<int>(nNoise >> 16 & 15) * 10;
            bar.iVolume = 100000 + static_cast<int64_t>(nNoise >> 8 & 0xFFFF) * 100;
            bar.iTurnover = bar.iVolume * ((bar.nOpen + bar.nClose) / 2);
            bar.nMatchItems = static_cast<int>(bar.iVolume / 1000);
            bar.nInterest = 500000 + static_cast<int>(nNoise >> 20);
            vecBars.push_back(bar);
            nLast = nClose;
        }
    }
    return vecBars;
}

}  // namespace qrx::server::formula
