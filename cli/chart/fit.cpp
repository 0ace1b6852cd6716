// See the header.
#include "chart/fit.h"

#include <algorithm>

namespace qrx::cli::chart {

Fit FitInto(int nBars, int nColumns) {
    if (nBars * 4 <= nColumns) return {1, 4, 3};
    if (nBars * 2 <= nColumns) return {1, 2, 1};
    return {(nBars + nColumns - 1) / nColumns, 1, 1};
}

std::vector<Bar> MergeBars(const std::vector<Bar>& vecBars, int nBars) {
    std::vector<Bar> vecMerged;
    for (size_t i = 0; i < vecBars.size(); ++i) {
        const Bar& bar = vecBars[i];
        if (i % static_cast<size_t>(nBars) == 0) {
            vecMerged.push_back(bar);
            continue;
        }
        Bar& merged = vecMerged.back();
        merged.nHigh = std::max(merged.nHigh, bar.nHigh);
        merged.nLow = std::min(merged.nLow, bar.nLow);
        merged.nClose = bar.nClose;
        merged.iVolume += bar.iVolume;
    }
    return vecMerged;
}

std::vector<std::optional<double>> MergeValues(const Overlay& overlay, int nBars) {
    std::vector<std::optional<double>> vecMerged;
    for (size_t i = 0; i < overlay.vecValues.size(); ++i) {
        if (i % static_cast<size_t>(nBars) == 0) vecMerged.emplace_back();
        if (overlay.vecValues[i]) vecMerged.back() = overlay.vecValues[i];
    }
    return vecMerged;
}

}  // namespace qrx::cli::chart
