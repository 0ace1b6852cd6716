// The codecs by their names: int decompress_<Kind>(char* src, int srcLen, ZPMDefine_<Kind>* dst,
// int maxCount). Each returns the bytes consumed, not a record count; 0 when it refuses its input.
// The caller zero-fills dst and keeps eight readable bytes behind the stream.
#ifndef QRX_CODEC_CODECS_H
#define QRX_CODEC_CODECS_H

#include "codec/future_records.h"
#include "codec/kline_records.h"
#include "codec/stream.h"
#include "codec/tick_records.h"

QRX_CODEC(TickData)
QRX_CODEC(TickData_ACC)
QRX_CODEC(TickData_AB)
QRX_CODEC(TickData_AB_ACC)
QRX_CODEC(TickData_ALL)
QRX_CODEC(TickData_Index)
QRX_CODEC(TickData_Index_ACC)
QRX_CODEC(TickData_Index_ALL)
QRX_CODEC(TickData_EX)
QRX_CODEC(TickData_ACC_EX)
QRX_CODEC(TickData_AB_EX)
QRX_CODEC(TickData_AB_ACC_EX)
QRX_CODEC(TickData_ALL_EX)
QRX_CODEC(TickData_Index_EX)
QRX_CODEC(TickData_Index_ACC_EX)
QRX_CODEC(TickData_Index_ALL_EX)
QRX_CODEC(Tick_Night)
QRX_CODEC(Tick_AB_Night)
QRX_CODEC(Transaction)
QRX_CODEC(Transaction_v2)
QRX_CODEC(Order)
QRX_CODEC(Order_v2)
QRX_CODEC(OrderQueue)
QRX_CODEC(Future_Night)
QRX_CODEC(Future_AB_Night)
QRX_CODEC(KData)
QRX_CODEC(KData_Index)

#endif
