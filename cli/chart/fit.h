// How many columns a bar gets, and how many bars one column stands for when there are too many.
#ifndef QRX_CLI_CHART_FIT_H
#define QRX_CLI_CHART_FIT_H

#include <vector>

#include "chart/chart.h"

namespace qrx::cli::chart {

struct Fit {
    int nBars = 1;   // that one candle stands for
    int nSlot = 1;   // columns from candle to candle
    int nWidth = 1;  // columns of a candle's body: 1 or 3
};
Fit FitInto(int nBars, int nColumns);

// Runs of nBars become one: the first open and time, the last close, both extremes, all volume.
std::vector<Bar> MergeBars(const std::vector<Bar>& vecBars, int nBars);
// Runs of nBars values become the last one that is there.
std::vector<std::optional<double>> MergeValues(const Overlay& overlay, int nBars);

}  // namespace qrx::cli::chart

#endif
