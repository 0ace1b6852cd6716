// Joining two bars into one that covers both.
#ifndef QRX_SERVER_STORE_BAR_H
#define QRX_SERVER_STORE_BAR_H

#include <algorithm>

#include "codec/kline_records.h"

namespace qrx::server {

// next follows bar; the joined one keeps bar's date and time.
inline void MergeBar(ZPMDefine_KData& bar, const ZPMDefine_KData& next) {
    bar.nHigh = std::max(int{bar.nHigh}, int{next.nHigh});
    bar.nLow = std::min(int{bar.nLow}, int{next.nLow});
    bar.nClose = next.nClose;
    bar.iVolume += next.iVolume;
    bar.iTurnover += next.iTurnover;
    bar.nMatchItems += next.nMatchItems;
    bar.nInterest = next.nInterest;
}

}  // namespace qrx::server

#endif
