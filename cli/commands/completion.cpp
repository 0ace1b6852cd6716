// See the header.
#include "commands/completion.h"

#include <string>

#include "app/failure.h"
#include "output/cell.h"
#include "text/encoding.h"

namespace qrx::cli {
namespace {

struct GridRow {
    const char* szMarket;
    bool bSnapshots;  // has a grid of half seconds too
    int nBarsOpen;    // HHMMSSmmm of the first bar of the day session, at the earliest
    int nBarsNight;   // of the night session; 0: none
};
constexpr GridRow kGrids[] = {
#define QRX_GRID(MARKET, SNAPSHOTS, OPEN, NIGHT) {#MARKET, SNAPSHOTS, OPEN, NIGHT},
#include "grids.def"
};
constexpr int kNightEnd = QRX_GRID_NIGHT_END;

const GridRow* FindGrid(const QRXDefine_Code& code) {
    for (const GridRow& row : kGrids) {
        if (FieldView(code.szMarket) == row.szMarket) return &row;
    }
    return nullptr;
}

}  // namespace

void CheckCompletable(const QRXDefine_Code& code, Completed kind) {
    const bool bSnapshots = kind == Completed::Snapshots;
    const GridRow* pGrid = FindGrid(code);
    if (pGrid != nullptr && (pGrid->bSnapshots || !bSnapshots)) return;
    std::string strMarkets;
    for (const GridRow& row : kGrids) {
        if (row.bSnapshots || !bSnapshots) strMarkets += std::string(" ") + row.szMarket;
    }
    throw Failure(EXIT_COMPLETION, "--complete: the market " +
                                       std::string(FieldView(code.szMarket)) +
                                       " has no session grid; only" + strMarkets + " have one");
}

void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_KLine> bars) {
    CheckCompletable(code, Completed::Bars);
    if (bars.empty()) return;
    const GridRow& grid = *FindGrid(code);
    const QRXDefine_KLine& first = bars.front();
    const bool bNight =
        grid.nBarsNight != 0 && (first.nTime >= grid.nBarsNight || first.nTime <= kNightEnd);
    if (bNight || first.nTime >= grid.nBarsOpen) return;
    std::string strWhere;
    AppendCell({"", Kind::Date}, {first.nDate}, {}, strWhere);
    strWhere += " ";
    AppendCell({"", Kind::Time}, {first.nTime}, {}, strWhere);
    throw Failure(EXIT_COMPLETION, "--complete: the first bar, at " + strWhere +
                                       ", lies before the session of " +
                                       std::string(FieldView(code.szMarket)));
}

// The half-second grids take up what lies before the session: nothing is known against a day yet.
void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_Future>, int) {
    CheckCompletable(code, Completed::Snapshots);
}
void CheckCompletable(const QRXDefine_Code& code, std::span<const QRXDefine_FutureAB>, int) {
    CheckCompletable(code, Completed::Snapshots);
}

}  // namespace qrx::cli
