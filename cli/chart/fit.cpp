// See the header.
#include "chart/fit.h"

#include <algorithm>

#include "chart/time_axis.h"

namespace qrx::cli::chart {
namespace {

// The bars that begin a session: twice the bars' distance and three quarters of an hour after the
// one before, so that a short break of the morning or a bar without trade is no pause.
std::vector<size_t> SessionStarts(const std::vector<Bar>& vecBars) {
    constexpr int64_t kLeastPause = 45 * 60;
    int64_t iDistance = INT64_MAX;
    for (size_t i = 1; i < vecBars.size(); ++i) {
        const int64_t iGap = SecondsOf(vecBars[i]) - SecondsOf(vecBars[i - 1]);
        if (iGap > 0) iDistance = std::min(iDistance, iGap);
    }
    std::vector<size_t> vecStarts{0};
    for (size_t i = 1; i < vecBars.size(); ++i) {
        const int64_t iGap = SecondsOf(vecBars[i]) - SecondsOf(vecBars[i - 1]);
        if (iGap / 2 >= iDistance && iGap >= kLeastPause) vecStarts.push_back(i);
    }
    return vecStarts;
}

// The first of every nBars, counted anew at each start.
std::vector<size_t> FirstOfEach(const std::vector<size_t>& vecStarts, size_t nEnd, size_t nBars) {
    std::vector<size_t> vecFirst;
    for (size_t k = 0; k < vecStarts.size(); ++k) {
        const size_t nStop = k + 1 < vecStarts.size() ? vecStarts[k + 1] : nEnd;
        for (size_t i = vecStarts[k]; i < nStop; i += nBars) vecFirst.push_back(i);
    }
    return vecFirst;
}

}  // namespace

Fit FitInto(const std::vector<Bar>& vecBars, bool bTimes, int nColumns) {
    const size_t nBars = vecBars.size();
    const auto nMost = static_cast<size_t>(nColumns);
    if (nBars <= nMost) {
        const int nSlot = nBars * 4 <= nMost ? 4 : nBars * 2 <= nMost ? 2 : 1;
        return {1, nSlot, nSlot == 4 ? 3 : 1, FirstOfEach({0}, nBars, 1)};
    }
    std::vector<size_t> vecStarts{0};
    if (bTimes) vecStarts = SessionStarts(vecBars);
    if (vecStarts.size() * 2 > nMost) vecStarts = {0};  // too many for candles of their own
    Fit fit;
    fit.nBars = static_cast<int>((nBars + nMost - 1) / nMost);
    for (;; ++fit.nBars) {
        fit.vecFirst = FirstOfEach(vecStarts, nBars, static_cast<size_t>(fit.nBars));
        if (fit.vecFirst.size() <= nMost) return fit;
    }
}

std::vector<Bar> MergeBars(const std::vector<Bar>& vecBars, const Fit& fit) {
    std::vector<Bar> vecMerged;
    for (size_t i = 0; i < vecBars.size(); ++i) {
        const Bar& bar = vecBars[i];
        if (vecMerged.size() < fit.vecFirst.size() && fit.vecFirst[vecMerged.size()] == i) {
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

std::vector<std::optional<double>> MergeValues(const Overlay& overlay, const Fit& fit) {
    std::vector<std::optional<double>> vecMerged;
    for (size_t i = 0; i < overlay.vecValues.size(); ++i) {
        const size_t nCandles = vecMerged.size();
        if (nCandles < fit.vecFirst.size() && fit.vecFirst[nCandles] == i) vecMerged.emplace_back();
        if (overlay.vecValues[i]) vecMerged.back() = overlay.vecValues[i];
    }
    return vecMerged;
}

}  // namespace qrx::cli::chart
