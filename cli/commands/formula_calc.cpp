// formula calc: the columns of a calculation as rows.
#include <algorithm>
#include <map>
#include <optional>

#include "app/context.h"
#include "app/failure.h"
#include "commands/chart_page.h"
#include "commands/command.h"
#include "commands/cycle.h"
#include "commands/series.h"
#include "text/nearest.h"

namespace qrx::cli {
namespace {

constexpr size_t kMaxCode = 8;  // without the market: those of options have more

template <size_t nWidth>
void Fill(char (&field)[nWidth], const std::string& strText, const char* szWhat) {
    if (strText.size() >= nWidth) {
        RefuseUsage(std::string(szWhat) + ": \"" + strText + "\" has more than " +
                    std::to_string(nWidth - 1) + " bytes");
    }
    memcpy(field, strText.data(), strText.size());
}

// The columns that --on names, or all, as lines over the bars. What a formula has not reached yet
// is sent as zeros: those before its first value are no values.
std::vector<chart::Overlay> Overlays(const std::string& strOn, const Calculation& calculation,
                                     const Decoder& decoder, std::span<const QRXDefine_KLine> bars,
                                     bool bTimes) {
    // A date, and a time below a day; a longer cycle's column of that name is the formula's own.
    const bool bTimeColumn =
        bTimes && calculation.Columns() > 1 && decoder.ToUtf8(calculation.Name(1)) == "Time";
    const int nStamps = bTimeColumn ? 2 : 1;
    const auto at = [&](int nColumn, int nRow) {
        const int32_t* pColumn = calculation.Column(nColumn);
        return pColumn != nullptr ? pColumn[nRow] : 0;
    };
    std::map<std::pair<int, int>, int> mapRows;
    for (int nRow = 0; nRow < calculation.Rows(); ++nRow) {
        mapRows[{at(0, nRow), nStamps > 1 ? at(1, nRow) : 0}] = nRow;
    }
    std::vector<std::string> vecNames;
    for (int i = nStamps; i < calculation.Columns(); ++i) {
        vecNames.push_back(decoder.ToUtf8(calculation.Name(i)));
    }
    if (!strOn.empty() && std::find(vecNames.begin(), vecNames.end(), strOn) == vecNames.end()) {
        RefuseUsage("--on: the formula has no column \"" + strOn + "\"; the nearest is \"" +
                    Nearest(strOn, vecNames) + "\"");
    }
    std::vector<chart::Overlay> vecOverlays;
    for (size_t i = 0; i < vecNames.size(); ++i) {
        if (!strOn.empty() && vecNames[i] != strOn) continue;
        const int nColumn = static_cast<int>(i) + nStamps;
        chart::Overlay& overlay = vecOverlays.emplace_back(chart::Overlay{vecNames[i], {}});
        bool bBegun = false;
        for (const QRXDefine_KLine& bar : bars) {
            auto& value = overlay.vecValues.emplace_back();
            const auto it = mapRows.find({bar.nDate, nStamps > 1 ? bar.nTime : 0});
            if (it == mapRows.end()) continue;
            const int nValue = at(nColumn, it->second);
            bBegun = bBegun || nValue != 0;
            if (bBegun) value = nValue;
        }
    }
    return vecOverlays;
}

}  // namespace

void RunFormulaCalc(Context& context) {
    const Arguments& args = context.Args();
    const Decoder decoder(context.GetSettings().strEncoding);
    const DayRange range = ReadDayRange(args);
    const Cycle cycle = ParseCycle(args.Get("--cycle", "d"));
    QRXDefine_ReqCalcFormula request{};
    char szName[24] = {};
    Fill(szName, decoder.FromUtf8(args.Get("NAME")), "NAME");
    memcpy(request.szFormulaName, szName, sizeof szName);
    Fill(request.szParam, args.Get("--param"), "--param");
    request.nCycType = cycle.nType;
    request.nCycDef = cycle.nCount;
    request.nCQFlag = args.Get("--adjust") == "backward" ? 2 : 0;
    request.nBeginDate = range.nFrom;
    request.nEndDate = range.nTo;
    request.nBeginTime = range.nBegin;
    request.nEndTime = range.nEnd;

    std::optional<ChartPage> chart;
    if (WantsChart(args)) chart.emplace(context);
    Connection& connection = context.Connect();
    const QRXDefine_Code code = connection.FindCode(args.Get("CODE"));
    const std::string strCode(FieldView(code.szVelaCode));
    if (strCode.rfind('.') > kMaxCode) {
        RefuseUsage("CODE: a calculation takes codes of at most " + std::to_string(kMaxCode) +
                    " characters, not " + strCode);
    }
    memcpy(request.szVelaCode, code.szVelaCode, sizeof request.szVelaCode);
    const auto result = connection.Get().Calculate(request);
    connection.Check(result.code, "rows of " + args.Get("NAME") + " over " + strCode + " " +
                                      range.Text() + "; the server's log says why");
    const Calculation& calculation = result.value;
    if (chart) {
        QRXDefine_ReqKLine asked{};
        FillRequest(asked, code, range.nFrom, range.nTo, range.nBegin, range.nEnd);
        asked.nCycType = cycle.nType;
        asked.nCycDef = cycle.nCount;
        asked.nModeFlag = request.nCQFlag;
        const auto bars = connection.Get().Bars(asked);
        connection.Check(bars.code, "bars of " + strCode + " " + range.Text());
        const std::span<const QRXDefine_KLine> all(bars.value.data(), bars.value.size());
        return chart->Draw({strCode + " " + args.Get("--cycle", "d"), range.Text()}, all,
                           cycle.Intraday(),
                           Overlays(args.Get("--on"), calculation, decoder, all, cycle.Intraday()));
    }
    std::vector<Column> vecColumns = {{"code", Kind::Text}};
    for (int i = 0; i < calculation.Columns(); ++i) {
        const std::string strName = decoder.ToUtf8(calculation.Name(i));
        if (i == 0) {
            vecColumns.push_back({"date", Kind::Date});
        } else if (i == 1 && strName == "Time") {
            vecColumns.push_back({"time", Kind::Time});
        } else {
            vecColumns.push_back({strName, Kind::Number});
        }
    }
    std::vector<Cell> vecCells(vecColumns.size());
    vecCells[0].text = FieldView(calculation.Record().szVelaCode);  // in the case that bars have
    std::string strTable = "calc_" + args.Get("NAME") + "_" + cycle.Text();
    if (request.nCQFlag != 0) strTable += "_" + args.Get("--adjust");
    if (args.Has("--param")) strTable += "_" + args.Get("--param");
    const auto pResults =
        context.OpenResults({std::move(strTable), std::move(vecColumns), cycle.Intraday()});
    pResults->AskedFor(std::string(vecCells[0].text), range);
    for (int nRow = 0; nRow < calculation.Rows(); ++nRow) {
        for (int i = 0; i < calculation.Columns(); ++i) {
            const int32_t* pColumn = calculation.Column(i);
            vecCells[static_cast<size_t>(i) + 1].nValue = pColumn != nullptr ? pColumn[nRow] : 0;
        }
        pResults->Row(vecCells);
    }
    connection.Check(pResults->Rows() > 0 ? ResultCode::Ok : ResultCode::NoData, "rows");
    pResults->Finish();
}

}  // namespace qrx::cli
