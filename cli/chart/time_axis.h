// Which columns of a chart are named by their time, and with which words.
#ifndef QRX_CLI_CHART_TIME_AXIS_H
#define QRX_CLI_CHART_TIME_AXIS_H

#include <string>
#include <vector>

#include "chart/chart.h"

namespace qrx::cli::chart {

// Seconds from 1970 on, by the exchange's calendar and clock.
int64_t SecondsOf(const Bar& bar);

struct TimeLabel {
    int nColumn;
    std::string strText;
};

// Two lines under a chart: the finer unit, and the coarser one where it changes (it may be empty).
struct TimeAxis {
    std::vector<TimeLabel> vecFine;
    std::vector<TimeLabel> vecCoarse;
};

// Candle i stands at column i * nSlot; labels end before nColumns. The finest round unit counts
// whose labels do not crowd, from seconds to decades.
TimeAxis MakeTimeAxis(const std::vector<Bar>& vecBars, bool bTimes, int nSlot, int nColumns);

}  // namespace qrx::cli::chart

#endif
