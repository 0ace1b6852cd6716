// formula calc: the columns of a calculation as rows.
#include "app/context.h"
#include "app/failure.h"
#include "commands/command.h"
#include "commands/cycle.h"
#include "commands/series.h"

namespace qrx::cli {
namespace {

template <size_t nWidth>
void Fill(char (&field)[nWidth], const std::string& strText, const char* szWhat) {
    if (strText.size() >= nWidth) {
        RefuseUsage(std::string(szWhat) + ": \"" + strText + "\" has more than " +
                    std::to_string(nWidth - 1) + " bytes");
    }
    memcpy(field, strText.data(), strText.size());
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

    Connection& connection = context.Connect();
    const QRXDefine_Code code = connection.FindCode(args.Get("CODE"));
    memcpy(request.szVelaCode, code.szVelaCode, sizeof request.szVelaCode);
    const auto result = connection.Get().Calculate(request);
    const std::string strCode(FieldView(code.szVelaCode));
    connection.Check(result.code, "rows of " + args.Get("NAME") + " over " + strCode + " " +
                                      range.Text() + "; the server's log says why");
    const Calculation& calculation = result.value;
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
    vecCells[0].text = strCode;
    const auto pResults = context.OpenResults(std::move(vecColumns));
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
