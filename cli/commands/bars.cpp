// bars: one request for the whole range, since longer cycles span many days.
#include <optional>

#include "app/failure.h"
#include "commands/adjust.h"
#include "commands/chart_page.h"
#include "commands/command.h"
#include "commands/completion.h"
#include "commands/cycle.h"
#include "commands/series.h"

namespace qrx::cli {
void RunBars(Context& context) {
    const Arguments& args = context.Args();
    const DayRange range = ReadDayRange(args);
    const Cycle cycle = ParseCycle(args.Get("--cycle", "d"));
    const bool bComplete = args.Has("--complete");
    QRXDefine_ReqKLine request{};
    request.nCycType = cycle.nType;
    request.nCycDef = cycle.nCount;
    FillAdjustment(request, args);
    if (bComplete && !cycle.Intraday()) {
        RefuseUsage("--complete goes with bars of seconds and minutes, such as --cycle 5m");
    }
    std::optional<ChartPage> chart;
    if (WantsChart(args)) chart.emplace(context);
    const Shape shape = {BarKind(cycle, args).strName, PlainColumnsOf<QRXDefine_KLine>(),
                         cycle.Intraday()};
    const auto pResults = chart ? nullptr : context.OpenResults(shape);
    Connection& connection = context.Connect();
    const QRXDefine_Code code = connection.FindCode(args.Get("CODE"));
    FillRequest(request, code, range.nFrom, range.nTo, range.nBegin, range.nEnd);
    const std::string strWhat =
        "bars of " + std::string(FieldView(code.szVelaCode)) + " " + range.Text();
    if (bComplete) CheckCompletable(code, Completed::Bars);

    auto bars = connection.Get().Bars(request);
    connection.Check(bars.code, strWhat);
    if (bComplete) {
        CheckCompletable(code, bars.value);
        request.nAutoComplete = 1;
        bars = connection.Get().Bars(request);
        connection.Check(bars.code, strWhat);
    }
    if (chart) {
        return chart->Draw(
            {std::string(FieldView(code.szVelaCode)) + " " + args.Get("--cycle", "d"),
             range.Text()},
            {bars.value.data(), bars.value.size()}, cycle.Intraday());
    }
    pResults->AskedFor(std::string(FieldView(code.szVelaCode)), range);
    pResults->Records(ColumnsOf<QRXDefine_KLine>(), bars.value.data(), bars.value.size(),
                      sizeof(QRXDefine_KLine));
    pResults->Finish();
}

}  // namespace qrx::cli
