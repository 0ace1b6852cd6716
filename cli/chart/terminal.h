// What the terminal can show: its size, its characters, its colours.
#ifndef QRX_CLI_CHART_TERMINAL_H
#define QRX_CLI_CHART_TERMINAL_H

#include <string>

#include "chart/chart.h"

namespace qrx::cli::chart {

// Whether the terminal shows more than ASCII: a locale of UTF-8, and a TERM that is neither "dumb"
// nor "linux" (whose font has few signs).
bool ShowsUnicode();

// Fills width, rows, ASCII and colour. The size is that of COLUMNS and LINES, or the
// terminal's own, else 80 by 27. strStyle is "unicode", "ascii", or "auto": what the terminal
// shows. Colours only on a terminal, and not with NO_COLOR.
void FitTerminal(Chart& chart, const std::string& strStyle, bool bTerminal);

}  // namespace qrx::cli::chart

#endif
