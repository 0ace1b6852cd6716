// Formula records between the forms: public request to server request, server answers to public
// records. Each zeroes its result first; texts are copied up to their NUL or their width.
#ifndef QRX_FORMULA_CONVERTERS_H
#define QRX_FORMULA_CONVERTERS_H

#include <qrx/formula.h>

#include "codec/wire.h"

namespace BusinessConvertor {

void T2HReqCalcFormula(const QRXDefine_ReqCalcFormula& req, ZPMDefine_RequestCalcFormula& out);
void HAddFormulaRes2T(const ZPMDefine_AddFormulaAnswer& src, QRXDefine_AddFormulaRes& dst);
void HDelFormulaRes2T(const ZPMDefine_DelFormulaAnswer& src, QRXDefine_DelFormulaRes& dst);
void HFormulaItem2T(const ZPMDefine_FormulaItem& src, QRXDefine_FormulaItem& dst);

}  // namespace BusinessConvertor

#endif
