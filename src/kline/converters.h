// Bars between the public records and the server's: requests out, bars in. No unit is changed
// here; the pipeline has turned HHMMSS into HHMMSSmmm before a bar is converted.
#ifndef QRX_KLINE_CONVERTERS_H
#define QRX_KLINE_CONVERTERS_H

#include <qrx/kline.h>

#include "codec/cycle.h"
#include "codec/kline_records.h"
#include "kline/filled_bar.h"
#include "ticks/converters.h"

namespace qrx::codec {

// Bars are dated by themselves.
template <class B, class R>
consteval auto BarMoves() {
    return JoinMoves(QRX_SAME(nDate), QRX_SAME(nTime), QRX_SAME(nOpen), QRX_SAME(nHigh),
                     QRX_SAME(nLow), QRX_SAME(nClose), QRX_SAME(iVolume), QRX_SAME(iTurnover),
                     QRX_SAME(nMatchItems));
}
QRX_MOVES(ZPMDefine_KData, QRXDefine_KLine, BarMoves<B, R>(), QRX_SAME(nInterest))
QRX_MOVES(ZPMDefine_KData_Index, QRXDefine_KLine, BarMoves<B, R>())

}  // namespace qrx::codec

namespace BusinessConvertor {

QRX_CONVERTER(HKData2T, ZPMDefine_KData, QRXDefine_KLine)
QRX_CONVERTER(HKDataIndex2T, ZPMDefine_KData_Index, QRXDefine_KLine)

// Server requests of bars. They do nothing without both pointers, leave reserved bytes as the
// caller cleared them, and ignore the two numbers (callers pass 0 and -1).
void T2HReqK(const QRXDefine_ReqKLine* pReq, ZPMDefine_RequestKData* pOut, int, int);
void T2HReqK(const QRXDefine_ReqKLine* pReq, ZPMDefine_RequestKData_Option* pOut, int, int);

}  // namespace BusinessConvertor

#endif
