// The columns of a calculation as the stream behind the answer's head: rows, date steps, time steps
// where bars have times, then each column.
#ifndef QRX_SERVER_FORMULA_ANSWER_STREAM_H
#define QRX_SERVER_FORMULA_ANSWER_STREAM_H

#include <span>
#include <string>

#include "codec/kline_records.h"
#include "formula/evaluate.h"

namespace qrx::server::formula {

// Times of bars are HHMMSS; in the stream they are milliseconds, from 0 on with every date.
std::string EncodeAnswer(std::span<const ZPMDefine_KData> bars, bool bTimes,
                         std::span<const OutputColumn> columns);

}  // namespace qrx::server::formula

#endif
