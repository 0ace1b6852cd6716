// The request builders.
#include "kline/converters.h"

#include "session/code_table.h"
#include "support/date_time.h"
#include "support/strings.h"

namespace {

using qrx::IsCycle;

int PositiveOr(int nValue, int nOtherwise) {
    return nValue >= 1 ? nValue : nOtherwise;
}

int RequestBegin(int nBeginDate) {
    return nBeginDate == 0 ? DateTimeInfo().ToYYMMDD() : PositiveOr(nBeginDate, -1);
}

template <class Request>
void FillReqK(const QRXDefine_ReqKLine* pReq, Request* pOut) {
    constexpr int kServerCompletes = 2;
    if (pReq == nullptr || pOut == nullptr) return;
    BusinessConvertor::VelaCode2GQCode(pOut->chCode, sizeof pOut->chCode, pOut->chMarket,
                                       sizeof pOut->chMarket, pReq->chCode, sizeof pReq->chCode);
    strupr_n(pOut->chMarket, sizeof pOut->chMarket);
    BusinessConvertor::NormalizeCode(pOut->chCode, sizeof pOut->chCode, pOut->chCode,
                                     sizeof pOut->chCode, pOut->chMarket, sizeof pOut->chMarket);
    const int nCycType = pReq->nCycType;
    pOut->nModeFlag = pReq->nModeFlag == 1 || pReq->nModeFlag == 2 ? pReq->nModeFlag : 0;
    pOut->nModeDate = PositiveOr(pReq->nModeDate, 0);
    pOut->nModeSwitch = pReq->nModeSwitch != 0 ? 1 : 0;
    pOut->nCycType = qrx::kServerCycles[IsCycle(nCycType) ? nCycType : CYC_SECOND];
    pOut->nCycDef = PositiveOr(pReq->nCycDef, 1);
    pOut->nBeginDate = RequestBegin(pReq->nBeginDate);
    pOut->nEndDate = PositiveOr(pReq->nEndDate, -1);
    const bool bFine = nCycType == CYC_SECOND || nCycType == CYC_MINUTE || !IsCycle(nCycType);
    pOut->nFlags = pReq->nAutoComplete != 0 && bFine ? kServerCompletes : 0;
}

}  // namespace

namespace BusinessConvertor {

void T2HReqK(const QRXDefine_ReqKLine* pReq, ZPMDefine_RequestKData* pOut, int, int) {
    FillReqK(pReq, pOut);
}

void T2HReqK(const QRXDefine_ReqKLine* pReq, ZPMDefine_RequestKData_Option* pOut, int, int) {
    FillReqK(pReq, pOut);
}

}  // namespace BusinessConvertor
