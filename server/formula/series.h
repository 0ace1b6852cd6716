// The bars on which a formula is tried when it is stored: some that look like a stock's or a
// future's, the same on every machine.
#ifndef QRX_SERVER_FORMULA_SERIES_H
#define QRX_SERVER_FORMULA_SERIES_H

#include <vector>

#include "codec/kline_records.h"

namespace qrx::server::formula {

std::vector<ZPMDefine_KData> BuiltInSeries();

}  // namespace qrx::server::formula

#endif
