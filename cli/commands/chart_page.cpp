// See the header.
#include "commands/chart_page.h"

#include "app/failure.h"
#include "chart/terminal.h"
#include "output/choice.h"

namespace qrx::cli {
namespace {

// Where a chart goes, once nothing is asked that only rows can do.
std::string FileOf(const Arguments& args) {
    for (const char* szOption : {"--format", "--columns", "--limit", "--raw", "--tz"}) {
        if (args.Has(szOption)) {
            RefuseUsage(std::string(szOption) + " is about rows; it does not go with --chart");
        }
    }
    const OutputChoice choice = ReadOutputChoice(args, 0);
    if (choice.strFormat != "table") {
        RefuseUsage("-o " + choice.strFile +
                    " is for rows; give a chart another name, such as chart.txt");
    }
    return choice.strFile;
}

}  // namespace

bool WantsChart(const Arguments& args) {
    if (args.Has("--chart")) return true;
    for (const char* szOption : {"--on", "--chart-style"}) {
        if (args.Has(szOption)) RefuseUsage(std::string(szOption) + " goes with --chart");
    }
    return false;
}

ChartPage::ChartPage(const Context& context) : m_context(context), m_sink(FileOf(context.Args())) {}

// Bars without any price are what completion leaves where nothing is known yet: not drawn.
void ChartPage::Draw(std::vector<std::string> vecTitle, std::span<const QRXDefine_KLine> bars,
                     bool bTimes, std::vector<chart::Overlay> vecOverlays) {
    chart::Chart chart;
    chart.vecTitle = std::move(vecTitle);
    chart.bTimes = bTimes;
    chart.nPriceDigits = m_context.GetSettings().nPriceDigits;
    for (const chart::Overlay& overlay : vecOverlays) {
        chart.vecOverlays.push_back({overlay.strName, {}});
    }
    for (size_t i = 0; i < bars.size(); ++i) {
        const QRXDefine_KLine& bar = bars[i];
        if (bar.nOpen == 0 && bar.nHigh == 0 && bar.nLow == 0 && bar.nClose == 0) continue;
        chart.vecBars.push_back(
            {bar.nDate, bar.nTime, bar.nOpen, bar.nHigh, bar.nLow, bar.nClose, bar.iVolume});
        for (size_t n = 0; n < vecOverlays.size(); ++n) {
            chart.vecOverlays[n].vecValues.push_back(vecOverlays[n].vecValues[i]);
        }
    }
    if (chart.vecBars.empty()) throw Failure(EXIT_NO_DATA, "there are no prices to draw");
    chart::FitTerminal(chart, m_context.Args().Get("--chart-style", "auto"), m_sink.Terminal());
    m_sink.Write(chart::Draw(chart));
    m_sink.Finish();
}

}  // namespace qrx::cli
