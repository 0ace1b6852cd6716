// Candles, lines and columns of volume into the cells of a pane.
#ifndef QRX_CLI_CHART_CANDLES_H
#define QRX_CLI_CHART_CANDLES_H

#include "chart/canvas.h"
#include "chart/chart.h"
#include "chart/fit.h"
#include "chart/scale.h"

namespace qrx::cli::chart {

// What a candle is drawn with, as the legend shows it.
std::string_view CandleGlyph(bool bRise, bool bAscii);
// The mark of the nth line.
std::string_view LineGlyph(size_t n, bool bAscii);
Colour LineColour(size_t n);

inline bool Rises(const Bar& bar) {
    return bar.nClose >= bar.nOpen;
}

// nColumn is the first column of its body.
void DrawCandle(Canvas& canvas, int nColumn, const Fit& fit, const Bar& bar, const Scale& scale,
                bool bAscii);
// A column of nVolume / nMost of the canvas's height, a trace at least.
void DrawVolume(Canvas& canvas, int nColumn, const Fit& fit, const Bar& bar, int64_t iMost,
                bool bAscii);

}  // namespace qrx::cli::chart

#endif
