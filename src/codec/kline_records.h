// Server records of bars: layout (packed) and stream order. Times are HHMMSS here.
#ifndef QRX_CODEC_KLINE_RECORDS_H
#define QRX_CODEC_KLINE_RECORDS_H

#include "codec/tick_records.h"

#pragma pack(push, 1)
struct ZPMDefine_KData {
    int32_t nDate;
    int32_t nTime;
    int32_t nOpen;
    int32_t nHigh;
    int32_t nLow;
    int32_t nClose;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nMatchItems;
    int32_t nInterest;
};
struct ZPMDefine_KData_Index {
    int32_t nDate;
    int32_t nTime;
    int32_t nOpen;
    int32_t nHigh;
    int32_t nLow;
    int32_t nClose;
    int64_t iVolume;
    int64_t iTurnover;
    int32_t nMatchItems;
    int32_t nIndexField[4];
};
#pragma pack(pop)

namespace qrx::codec {

template <class R>
consteval auto BarFields() {
    return Join(QRX_SCALAR(R, nDate), QRX_SCALAR(R, nTime), QRX_SCALAR(R, nOpen),
                QRX_SCALAR(R, nHigh), QRX_SCALAR(R, nLow), QRX_SCALAR(R, nClose),
                QRX_SCALAR(R, iVolume), QRX_SCALAR(R, iTurnover), QRX_SCALAR(R, nMatchItems));
}

QRX_STREAM(ZPMDefine_KData, 48, 10, BarFields<R>(), QRX_SCALAR(R, nInterest))
QRX_STREAM(ZPMDefine_KData_Index, 60, 13, BarFields<R>(), QRX_ARRAY(R, nIndexField))

// The bar codecs test the source pointer and leave the destination alone; the others the other way
// round. The difference is wanted.
template <>
inline constexpr bool kTestsSource<ZPMDefine_KData> = true;
template <>
inline constexpr bool kTestsSource<ZPMDefine_KData_Index> = true;

}  // namespace qrx::codec

#endif
