// Joining two bars into one that covers both.
#ifndef QRX_SERVER_STORE_BAR_H
#define QRX_SERVER_STORE_BAR_H

#include <algorithm>
#include <limits>

#include "codec/kline_records.h"

namespace qrx::server {

// Sums that stop at the type's limit: what files may hold, nothing bounds.
template <class Integer>
Integer Sum(Integer a, Integer b) {
    Integer sum;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return a < 0 ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
}

// next follows bar; the joined one keeps bar's date and time.
inline void MergeBar(ZPMDefine_KData& bar, const ZPMDefine_KData& next) {
    bar.nHigh = std::max(int{bar.nHigh}, int{next.nHigh});
    bar.nLow = std::min(int{bar.nLow}, int{next.nLow});
    bar.nClose = next.nClose;
    bar.iVolume = Sum(int64_t{bar.iVolume}, int64_t{next.iVolume});
    bar.iTurnover = Sum(int64_t{bar.iTurnover}, int64_t{next.iTurnover});
    bar.nMatchItems = Sum(int{bar.nMatchItems}, int{next.nMatchItems});
    bar.nInterest = next.nInterest;
}

}  // namespace qrx::server

#endif
