// See the header.
#include "grids/completable.h"

#include "grids/broken_rule.h"
#include "grids/grid_check.h"
#include "kline/grid.h"
#include "session/code_table.h"
#include "support/strings.h"

namespace qrx::grids {
namespace {

std::string NoGrid(const std::string& strMarket, const std::string& strAble) {
    return "the market " + strMarket + " has no session grid; only " + strAble + " have one";
}

std::string CheckBars(const QRXDefine_Code& code, const QRXDefine_KLine* pBars, int nCount) {
    const std::string strMarket = FieldText(code.szMarket);
    const GridRow* pRow = FindGridRow(strMarket, FieldText(code.szVelaCode));
    if (pRow == nullptr) return NoGrid(strMarket, GridMarkets());
    if (nCount <= 0) return {};
    const GridVerdict verdict = CheckGridConditions(pRow, pBars, nCount);
    if (verdict.nFault == GridFault::kNone) return {};
    return BrokenRule(verdict.nDay, verdict.nBar, pBars[verdict.nBar].nTime,
                      GridRule(verdict.nFault));
}

// By the code in the form that the request sends and completion looks at.
template <class Record>
std::string CheckSnapshots(const QRXDefine_Code& code, const Record* pDay, int nCount, int nDay) {
    const std::string strMarket = FieldText(code.szMarket);
    if (futures::ChooseGrid(strMarket.c_str(), "") == futures::GridKind::kNone) {
        return NoGrid(strMarket, futures::GridMarkets());
    }
    if (nCount <= 0) return {};
    char szCode[sizeof code.szCode + 1] = {};
    BusinessConvertor::NormalizeCode(szCode, sizeof code.szCode, code.szCode, sizeof code.szCode,
                                     strMarket.c_str(), 4);
    const auto fault = futures::CheckGrid(pDay, nCount, strMarket.c_str(), szCode, nDay);
    return fault ? fault->Text() : std::string();
}

}  // namespace

std::string WhyNotCompletable(Kind kind, const QRXDefine_Code& code, const void* pRecords,
                              int nCount, int nDay) {
    switch (kind) {
        case Kind::Bars:
            return CheckBars(code, static_cast<const QRXDefine_KLine*>(pRecords), nCount);
        case Kind::Snapshots:
            return CheckSnapshots(code, static_cast<const QRXDefine_Future*>(pRecords), nCount,
                                  nDay);
        case Kind::SnapshotsWithBook:
            return CheckSnapshots(code, static_cast<const QRXDefine_FutureAB*>(pRecords), nCount,
                                  nDay);
    }
    return "there is no such kind of records";
}

}  // namespace qrx::grids
