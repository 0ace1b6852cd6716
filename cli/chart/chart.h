// A chart for the terminal: candlesticks over a price axis, lines of further values, a strip of
// volumes and an axis of dates and times, as lines of text. Pure: what the terminal can do is asked
// elsewhere (chart/terminal.h) and handed over here.
//
// Rising candles are hollow or thin, falling ones are full; colours only repeat that (red rises,
// as on the exchanges that this data comes from).
#ifndef QRX_CLI_CHART_CHART_H
#define QRX_CLI_CHART_CHART_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrx::cli::chart {

struct Bar {
    int nDate;  // YYYYMMDD
    int nTime;  // HHMMSSmmm
    int64_t nOpen;
    int64_t nHigh;
    int64_t nLow;
    int64_t nClose;
    int64_t iVolume;
};

// A line through the bars, in their unit. One that lies far from the prices is hardly a price: it
// gets a scale of its own under them, labelled with the values as they are.
struct Overlay {
    std::string strName;
    std::vector<std::optional<double>> vecValues;  // one a bar
};

struct Chart {
    std::vector<std::string> vecTitle;  // parts that stay whole, in UTF-8
    std::vector<Bar> vecBars;
    std::vector<Overlay> vecOverlays;
    bool bTimes = false;   // the bars have times; else they are days and longer
    int nPriceDigits = 4;  // decimals of a price in its integer
    int nWidth = 80;       // columns that no line exceeds; at least kLeastWidth
    int nRows = 16;        // of the candles
    bool bAscii = false;   // plain ASCII only
    bool bColour = false;  // with the terminal's escapes
};

inline constexpr int kLeastWidth = 34;

// Lines with their ends; "" without bars.
std::string Draw(const Chart& chart);

}  // namespace qrx::cli::chart

#endif
