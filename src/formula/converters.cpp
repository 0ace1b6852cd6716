// See the header.
#include "formula/converters.h"

#include <algorithm>
#include <cstddef>

#include "codec/cycle.h"
#include "session/code_table.h"
#include "support/strings.h"

static_assert(offsetof(QRXDefine_ReqCalcFormula, szParam) == 28);
static_assert(offsetof(QRXDefine_ReqCalcFormula, szVelaCode) == 60);
static_assert(offsetof(QRXDefine_ReqCalcFormula, nCycType) == 92);
static_assert(sizeof(QRXDefine_ReqCalcFormula) == 120);
static_assert(offsetof(QRXDefine_AddFormulaRes, chAddExtra) == 136);
static_assert(sizeof(QRXDefine_AddFormulaRes) == 204);
static_assert(offsetof(QRXDefine_DelFormulaRes, szDelInfo) == 28);
static_assert(sizeof(QRXDefine_DelFormulaRes) == 96);
static_assert(offsetof(QRXDefine_FormulaItem, szFormulaText) == 28);
static_assert(sizeof(QRXDefine_FormulaItem) == 160);

namespace {

// The parameter text is longer on the wire than its field: it is read up to its NUL, also where
// that stands behind the field, but never behind the record.
void FillParam(const QRXDefine_ReqCalcFormula& req, ZPMDefine_RequestCalcFormula& out) {
    constexpr size_t kOffset = offsetof(QRXDefine_ReqCalcFormula, szParam);
    const char* pText = reinterpret_cast<const char*>(&req) + kOffset;
    qrx::FillField(out.szParam, pText, std::min(sizeof out.szParam, sizeof req - kOffset));
}

}  // namespace

namespace BusinessConvertor {

void T2HReqCalcFormula(const QRXDefine_ReqCalcFormula& req, ZPMDefine_RequestCalcFormula& out) {
    out = ZPMDefine_RequestCalcFormula{};
    qrx::FillField(out.szName, req.szFormulaName, sizeof out.szName);
    FillParam(req, out);
    VelaCode2GQCode(out.chCode, sizeof out.chCode, out.chMarket, sizeof out.chMarket,
                    req.szVelaCode, sizeof req.szVelaCode);
    strupr_n(out.chMarket, sizeof out.chMarket);
    NormalizeCode(out.chCode, sizeof out.chCode, out.chCode, sizeof out.chCode, out.chMarket,
                  sizeof out.chMarket);
    out.nCycType = T2HCycType(req.nCycType);
    out.nCycDef = std::max(req.nCycDef, 1);
    // The price adjustment is set twice, and the second time a 1 is lost: only 2 reaches the
    // server. Deliberate.
    if (req.nCQFlag == 1) out.nCQFlag = 1;
    out.nCQFlag = req.nCQFlag == 2 ? 2 : 0;
    out.nBeginDate = req.nBeginDate;
    out.nEndDate = std::max(req.nEndDate, 0);
    out.nBeginTime = req.nBeginTime;
    out.nEndTime = req.nEndTime;
}

void HAddFormulaRes2T(const ZPMDefine_AddFormulaAnswer& src, QRXDefine_AddFormulaRes& dst) {
    dst = QRXDefine_AddFormulaRes{};
    dst.nAddResult = src.nAddResult;
    qrx::FillField(dst.szAddInfo, src.szAddInfo, sizeof dst.szAddInfo);
    memcpy(dst.chAddExtra, src.chAddExtra, sizeof dst.chAddExtra);
}

void HDelFormulaRes2T(const ZPMDefine_DelFormulaAnswer& src, QRXDefine_DelFormulaRes& dst) {
    dst = QRXDefine_DelFormulaRes{};
    qrx::FillField(dst.szFormulaName, src.szName, sizeof dst.szFormulaName);
    qrx::FillField(dst.szDelInfo, src.szDelInfo, sizeof dst.szDelInfo);
}

void HFormulaItem2T(const ZPMDefine_FormulaItem& src, QRXDefine_FormulaItem& dst) {
    dst = QRXDefine_FormulaItem{};
    qrx::FillField(dst.szFormulaName, src.szName, sizeof dst.szFormulaName);
    qrx::FillField(dst.szFormulaText, src.szText, sizeof dst.szFormulaText);
}

}  // namespace BusinessConvertor
