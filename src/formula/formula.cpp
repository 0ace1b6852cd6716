// Formulas: not there yet. The calls pass their checks and answer as a session that is not ready.
#include "session/data_source.h"

int MarketDataSource::AddFormula(const std::string&, const std::string&, QRXDefine_AddFormulaRes*) {
    return QRX_ERR_NETWORK;
}
int MarketDataSource::GetFormula(const std::string&, QRXDefine_FormulaItem**, int*) {
    return QRX_ERR_NETWORK;
}
int MarketDataSource::DelFormula(const std::string&, QRXDefine_DelFormulaRes*) {
    return QRX_ERR_NETWORK;
}
int MarketDataSource::CalcFormula(const QRXDefine_ReqCalcFormula*, QRXDefine_CalcFormulaRes*) {
    return QRX_ERR_NETWORK;
}
