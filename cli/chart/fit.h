// How many columns a bar gets, and which bars one column stands for when there are too many: as
// many as it takes, and none from both sides of a pause of the trading.
#ifndef QRX_CLI_CHART_FIT_H
#define QRX_CLI_CHART_FIT_H

#include <cstddef>
#include <optional>
#include <vector>

#include "chart/chart.h"

namespace qrx::cli::chart {

struct Fit {
    int nBars = 1;                 // that one candle stands for, at most
    int nSlot = 1;                 // columns from candle to candle
    int nWidth = 1;                // columns of a candle's body: 1 or 3
    std::vector<size_t> vecFirst;  // the first bar of each candle
};
Fit FitInto(const std::vector<Bar>& vecBars, bool bTimes, int nColumns);

// Those of a candle become one: the first open and time, the last close, both extremes, all volume.
std::vector<Bar> MergeBars(const std::vector<Bar>& vecBars, const Fit& fit);
// Those of a candle become the last one that is there.
std::vector<std::optional<double>> MergeValues(const Overlay& overlay, const Fit& fit);

}  // namespace qrx::cli::chart

#endif
