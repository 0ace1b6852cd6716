// The layouts that cross the boundary, held against the figures that applications were built with.
#include <qrx/qrx.h>

#include <cstddef>

static_assert(sizeof(OPEN_SETTINGS) == 108);
static_assert(sizeof(QRX_PROXY_SETTING) == 108);
static_assert(sizeof(QRXDefine_ResLogin) == 3140);
static_assert(sizeof(QRXDefine_Code) == 140);
static_assert(sizeof(QRXDefine_ReqTick) == 48 && sizeof(QRXDefine_ReqTransaction) == 48);
static_assert(sizeof(QRXDefine_Tick) == 154 && sizeof(QRXDefine_TickAB) == 338);
static_assert(sizeof(QRXDefine_Transaction) == 95 && sizeof(QRXDefine_Order) == 90);
static_assert(sizeof(QRXDefine_OrderQueue) == 288);
static_assert(sizeof(QRXDefine_ReqKLine) == 72 && sizeof(QRXDefine_KLine) == 112);
static_assert(sizeof(QRXDefine_ReqFuture) == 52);
static_assert(sizeof(QRXDefine_Future) == 145 && sizeof(QRXDefine_FutureAB) == 225);
static_assert(sizeof(QRXDefine_AddFormulaRes) == 204 && sizeof(QRXDefine_DelFormulaRes) == 96);
static_assert(sizeof(QRXDefine_FormulaItem) == 160 && sizeof(QRXDefine_ReqCalcFormula) == 120);
static_assert(sizeof(QRXDefine_CalcFormulaRes) == 1872);
static_assert(offsetof(QRXDefine_ReqCalcFormula, nCycType) == 92);
static_assert(offsetof(QRXDefine_CalcFormulaRes, pnFieldData) == 1472);
