// See the header.
#include "commands/completion.h"

#include <string>

#include "app/failure.h"
#include "futures/grid_check.h"
#include "kline/grid.h"
#include "output/cell.h"
#include "session/code_table.h"
#include "text/encoding.h"

namespace qrx::cli {
namespace {

std::string Market(const QRXDefine_Code& code) {
    return std::string(FieldView(code.szMarket));
}

const GridRow* BarGrid(const QRXDefine_Code& code) {
    return FindGridRow(Market(code), std::string(FieldView(code.szVelaCode)));
}

[[noreturn]] void Refuse(const std::string& strWhy) {
    throw Failure(EXIT_COMPLETION, "--complete: " + strWhy);
}

std::string CellText(Kind kind, int nValue) {
    std::string strText;
    AppendCell({"", kind}, {nValue}, {}, strText);
    return strText;
}

}  // namespace

void CheckCompletable(const QRXDefine_Code& code, Completed kind) {
    const bool bBars = kind == Completed::Bars;
    const bool bGrid =
        bBars ? BarGrid(code) != nullptr
              : futures::ChooseGrid(Market(code).c_str(), "") != futures::GridKind::kNone;
    if (bGrid) return;
    Refuse("the market " + Market(code) + " has no session grid; only " +
           (bBars ? GridMarkets() : futures::GridMarkets()) + " have one");
}

void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_KLine> bars) {
    CheckCompletable(code, Completed::Bars);
    if (bars.empty()) return;
    const auto verdict =
        CheckGridConditions(BarGrid(code), bars.data(), static_cast<int>(bars.size()));
    if (verdict.nFault == GridFault::kNone) return;
    const QRXDefine_KLine& bar = bars[static_cast<size_t>(verdict.nBar)];
    Refuse("bar " + std::to_string(verdict.nBar + 1) + " of " + Market(code) + ", at " +
           CellText(Kind::Date, bar.nDate) + " " + CellText(Kind::Time, bar.nTime) + ": " +
           GridRule(verdict.nFault));
}

// By the code in the form that the request sends and completion looks at.
template <class Record>
void CheckCompletable(const QRXDefine_Code& code, std::span<const Record> day, int nDate) {
    char szCode[sizeof code.szCode + 1] = {};
    BusinessConvertor::NormalizeCode(szCode, sizeof code.szCode, code.szCode, sizeof code.szCode,
                                     Market(code).c_str(), 4);
    const auto fault = futures::CheckGrid(day.data(), static_cast<int>(day.size()),
                                          Market(code).c_str(), szCode, nDate);
    if (fault) Refuse(fault->Text());
}

template void CheckCompletable(const QRXDefine_Code&, std::span<const QRXDefine_Future>, int);
template void CheckCompletable(const QRXDefine_Code&, std::span<const QRXDefine_FutureAB>, int);

}  // namespace qrx::cli
