// Bars: not there yet. The call passes its checks and answers as a session that is not ready.
#include "session/data_source.h"
#include "support/assertion.h"

int MarketDataSource::GetKLine(const QRXDefine_ReqKLine*, QRXDefine_KLine**, int*) {
    return QRX_ERR_NETWORK;
}
