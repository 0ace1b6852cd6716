// Laying second and minute bars onto a row of the session grids, without a session: what is
// missing is filled, what lies beside the grid gives its close to the next point.
#ifndef QRX_KLINE_ALIGN_H
#define QRX_KLINE_ALIGN_H

#include <functional>

#include "kline/grid.h"
#include "session/data_source.h"

namespace qrx {

// The last daily bar before the range of a request: 0, -3 when there is none (the bar is then all
// zero), or an error. Asked at most once, and only when the first grid point has no bar.
using PreviousDaily = std::function<int(QRXDefine_KLine&)>;

// 0, -4, or what previous gave. The result is a new array that FreeResult releases, null on
// failure. Bars that break a condition of the grid stop the process (CheckGridConditions).
int AlignBars(const GridRow& row, MarketDataSource::KLineArray& pairResult,
              const MarketDataSource::InputArray& pairInput, const QRXDefine_ReqKLine* pReq,
              const PreviousDaily& previous);

// The day segments of a row alone; without bAllocResult into the array that pairResult has.
int AlignDayBars(const GridRow& row, MarketDataSource::KLineArray& pairResult,
                 const MarketDataSource::InputArray& pairInput, const QRXDefine_ReqKLine* pReq,
                 bool bAllocResult, const PreviousDaily& previous);

}  // namespace qrx

#endif
