// Finds the place behind the next n integers of a stream without decoding them.
#ifndef QRX_CODEC_SKIP_INTEGERS_H
#define QRX_CODEC_SKIP_INTEGERS_H

#include <cstdint>

namespace qrx::codec {

// Null when the stream has not that many (or ends exactly behind them), or when this processor
// cannot tell fast enough for a caller to gain by it.
const char* SkipIntegers(const char* p, const char* pEnd, int64_t nIntegers);

}  // namespace qrx::codec

#endif
