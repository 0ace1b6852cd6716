// A filled bar: the stand-in for an interval without trades. It keeps the last close in all four
// prices, the open interest and the codes, and has no volume, turnover or trades.
#ifndef QRX_KLINE_FILLED_BAR_H
#define QRX_KLINE_FILLED_BAR_H

#include <qrx/kline.h>

inline void partial_copy_kline(QRXDefine_KLine* pDst, const QRXDefine_KLine* pSrc, int nDate,
                               int nTime) {
    *pDst = *pSrc;
    pDst->nDate = nDate;
    pDst->nTime = nTime;
    pDst->nOpen = pDst->nHigh = pDst->nLow = pDst->nClose;
    pDst->iVolume = 0;
    pDst->iTurnover = 0;
    pDst->nMatchItems = 0;
}

namespace BusinessConvertor {

// The same at the time that dst already has.
inline void SetAutoCompleteKLine(QRXDefine_KLine& dst, const QRXDefine_KLine& prev) {
    partial_copy_kline(&dst, &prev, dst.nDate, dst.nTime);
}

}  // namespace BusinessConvertor

#endif
