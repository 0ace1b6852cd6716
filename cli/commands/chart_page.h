// --chart: bars drawn on the terminal instead of written as rows.
#ifndef QRX_CLI_COMMANDS_CHART_PAGE_H
#define QRX_CLI_COMMANDS_CHART_PAGE_H

#include <qrx/kline.h>

#include <span>
#include <string>
#include <vector>

#include "app/context.h"
#include "chart/chart.h"
#include "output/sink.h"

namespace qrx::cli {

// Throws Failure for options that only a chart has when none is asked for.
bool WantsChart(const Arguments& args);

class ChartPage {
public:
    // Throws Failure for options that go with rows only and for an output that cannot be written:
    // before anything is fetched.
    explicit ChartPage(const Context& context);

    // Values of overlays belong to bars of the same index.
    void Draw(std::vector<std::string> vecTitle, std::span<const QRXDefine_KLine> bars, bool bTimes,
              std::vector<chart::Overlay> vecOverlays = {});

private:
    const Context& m_context;
    Sink m_sink;
};

}  // namespace qrx::cli

#endif
