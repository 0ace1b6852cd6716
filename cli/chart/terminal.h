// What the terminal can show: its size, its characters, its colours.
#ifndef QRX_CLI_CHART_TERMINAL_H
#define QRX_CLI_CHART_TERMINAL_H

#include <string>

#include "chart/chart.h"

namespace qrx::cli::chart {

// Fills width, rows, ASCII and colour. The size is that of COLUMNS and LINES, or the
// terminal's own, else 80 by 27. ASCII where the locale is not UTF-8 or TERM is "dumb" or "linux"
// (whose font has no heavy lines), unless strStyle says "unicode" or "ascii". Colours only on a
// terminal, and not with NO_COLOR.
void FitTerminal(Chart& chart, const std::string& strStyle, bool bTerminal);

}  // namespace qrx::cli::chart

#endif
