// The request builders and the server's cycle codes.
#include "kline/converters.h"

#include <iterator>

#include "session/code_table.h"
#include "support/date_time.h"
#include "support/strings.h"

namespace {

// By CYCTYPE: second, minute, day, week, month, quarter, half year, year.
constexpr int kServerCycles[] = {11, 0, 7, 8, 9, 4, 5, 6};

bool IsCycle(int nCycType) {
    return nCycType >= 0 && nCycType < static_cast<int>(std::size(kServerCycles));
}

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
    pOut->nCycType = kServerCycles[IsCycle(nCycType) ? nCycType : CYC_SECOND];
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

int T2HCycType(int nCycType) {
    return IsCycle(nCycType) ? kServerCycles[nCycType] : 0;
}

}  // namespace BusinessConvertor
