// The driver of every request that goes day by day: walk, retry, each day behind the one before.
#ifndef QRX_TICKS_DAY_DRIVER_H
#define QRX_TICKS_DAY_DRIVER_H

#include "session/request.h"
#include "support/date_time.h"
#include "support/result_memory.h"

// oneDay(request of the day, result, first day, last day) puts the day's records behind those of
// the result. Days step on a calendar of 31-day months: weekends and dates that do not exist are
// asked for too, and answered with no data. A day without data is skipped; any other failure
// discards the whole call.
template <class Request, class OneDay>
int MarketDataSource::RepeatDays(const Request& request, void** pData, int* pCount,
                                 size_t nUnitBytes, OneDay oneDay) {
    const int nBeginDate =
        request.nBeginDate > 0 ? request.nBeginDate : BusinessConvertor::GetCurYYMMDD();
    const int nEndDate = request.nEndDate >= 1 ? request.nEndDate : nBeginDate;
    qrx::ResultBuffer result(nUnitBytes);
    int nResult = QRX_ERR_NO_DATA;
    // Stops also where the next date is no later one: the calendar has an end.
    for (int nDate = nBeginDate, nBefore = 0; nDate > nBefore && nDate <= nEndDate && !Quitting();
         nBefore = nDate, nDate = BusinessConvertor::GetNextYYMMDD(nDate)) {
        Request dayRequest = request;
        dayRequest.nBeginDate = nDate;
        const int64_t nCollected = result.Count();
        nResult = WithRetries([&] {
            result.Truncate(nCollected);
            return oneDay(dayRequest, result, nBeginDate, nEndDate);
        });
        if (nResult != QRX_OK && nResult != QRX_ERR_NO_DATA) break;
        QRX_ASSERT((nResult == QRX_OK) == (result.Count() > nCollected), "nCurCount && pCurRawData",
                   qrx::source::kMarketDataSource);
    }
    if (nResult == QRX_ERR_NO_DATA && result.Count() > 0) nResult = QRX_OK;
    if (Quitting()) return QRX_ERR_NETWORK;
    if (nResult == QRX_OK) *pData = result.Release(pCount);
    return nResult;
}

#endif
