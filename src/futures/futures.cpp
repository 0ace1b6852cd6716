// Futures and options: not there yet. The calls pass their checks and answer as a session that is
// not ready.
#include "session/data_source.h"

int MarketDataSource::GetFuture(const QRXDefine_ReqFuture*, QRXDefine_Future**, int* pCount) {
    *pCount = 0;
    return QRX_ERR_NETWORK;
}

int MarketDataSource::GetFutureAB(const QRXDefine_ReqFuture*, QRXDefine_FutureAB**, int* pCount) {
    *pCount = 0;
    return QRX_ERR_NETWORK;
}
