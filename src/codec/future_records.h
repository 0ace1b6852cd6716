// Server records of futures and option snapshots: layout (packed) and stream order.
//
// The five-level record holds X, Y, Z (nValue1, nValue2, nValue3) in the rotated order Y, Z, X, and
// its stream sends those scalars before the levels, which are interleaved. Both are wanted; the
// converter puts the values back.
#ifndef QRX_CODEC_FUTURE_RECORDS_H
#define QRX_CODEC_FUTURE_RECORDS_H

#include "codec/tick_records.h"

#pragma pack(push, 1)
struct ZPMDefine_Future_Night {
    int32_t nDate;
    int32_t nTime;
    int32_t nValue0;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nPosition;
    char chFlag;
    int32_t nValue1;
    int32_t nValue2;
    int32_t nValue3;
    int32_t nSettle;
    int32_t nAuxValue;
};
struct ZPMDefine_Future_AB_Night {
    int32_t nDate;
    int32_t nTime;
    int32_t nValue0;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nPosition;
    char chFlag;
    int32_t nBook1[5];
    int32_t nBook2[5];
    int32_t nBook3[5];
    int32_t nBook4[5];
    int32_t nValue2;
    int32_t nValue3;
    int32_t nValue1;
    int32_t nSettle;
    int32_t nAuxValue;
};
#pragma pack(pop)

static_assert(offsetof(ZPMDefine_Future_AB_Night, nValue2) == 113);
static_assert(offsetof(ZPMDefine_Future_AB_Night, nValue1) == 121);

namespace qrx::codec {

template <class R>
consteval auto FutureHeadFields() {
    return Join(QRX_SCALAR(R, nDate), QRX_SCALAR(R, nTime), QRX_SCALAR(R, nValue0),
                QRX_SCALAR(R, iVolume), QRX_SCALAR(R, iTurnover), QRX_SCALAR(R, nPosition),
                QRX_SCALAR(R, chFlag));
}

QRX_STREAM(ZPMDefine_Future_Night, 53, 12, FutureHeadFields<R>(), QRX_SCALAR(R, nValue1),
           QRX_SCALAR(R, nValue2), QRX_SCALAR(R, nValue3), QRX_SCALAR(R, nSettle),
           QRX_SCALAR(R, nAuxValue))
QRX_STREAM(ZPMDefine_Future_AB_Night, 133, 32, FutureHeadFields<R>(), QRX_SCALAR(R, nValue2),
           QRX_SCALAR(R, nValue3), QRX_SCALAR(R, nValue1), QRX_SCALAR(R, nSettle),
           QRX_SCALAR(R, nAuxValue), InterleavedLevels<R>())

}  // namespace qrx::codec

#endif
