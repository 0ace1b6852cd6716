// bars: one request for the whole range, since longer cycles span many days.
#include <optional>

#include "app/failure.h"
#include "commands/chart_page.h"
#include "commands/command.h"
#include "commands/completion.h"
#include "commands/cycle.h"
#include "commands/series.h"

namespace qrx::cli {
namespace {

// Bars that were reckoned in different ways stand in tables of their own.
std::string TableName(const Cycle& cycle, const Arguments& args) {
    std::string strName = BarKind(cycle).strName;
    if (args.Has("--complete")) strName += "_complete";
    if (args.Get("--adjust", "none") != "none") strName += "_" + args.Get("--adjust");
    if (args.Has("--adjust-date")) {
        strName += "_" + std::to_string(ParseDate(args.Get("--adjust-date"), "--adjust-date"));
    }
    if (args.Has("--adjust-volume")) strName += "_volume";
    return strName;
}

}  // namespace

void RunBars(Context& context) {
    const Arguments& args = context.Args();
    const DayRange range = ReadDayRange(args);
    const Cycle cycle = ParseCycle(args.Get("--cycle", "d"));
    const bool bComplete = args.Has("--complete");
    const std::string strAdjust = args.Get("--adjust", "none");
    QRXDefine_ReqKLine request{};
    request.nCycType = cycle.nType;
    request.nCycDef = cycle.nCount;
    request.nModeFlag = strAdjust == "forward" ? 1 : strAdjust == "backward" ? 2 : 0;
    if (args.Has("--adjust-date")) {
        if (strAdjust != "forward") RefuseUsage("--adjust-date goes with --adjust forward");
        request.nModeDate = ParseDate(args.Get("--adjust-date"), "--adjust-date");
    }
    request.nModeSwitch = args.Has("--adjust-volume") ? 1 : 0;
    if (bComplete && !cycle.Intraday()) {
        RefuseUsage("--complete goes with bars of seconds and minutes, such as --cycle 5m");
    }
    std::optional<ChartPage> chart;
    if (args.Has("--chart")) chart.emplace(context);
    const Shape shape = {TableName(cycle, args), PlainColumnsOf<QRXDefine_KLine>(),
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
    pResults->Records(ColumnsOf<QRXDefine_KLine>(), bars.value.data(), bars.value.size(),
                      sizeof(QRXDefine_KLine));
    pResults->Finish();
}

}  // namespace qrx::cli
