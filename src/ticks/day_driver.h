// The driver of every request that goes day by day: walk, retry, collect, join.
#ifndef QRX_TICKS_DAY_DRIVER_H
#define QRX_TICKS_DAY_DRIVER_H

#include <algorithm>
#include <atomic>
#include <vector>

#include "session/request.h"
#include "support/date_time.h"
#include "support/result_memory.h"

namespace qrx {

// The arrays of the days that had data, in day order.
class DayList {
public:
    void Add(ResultOwner pRecords, int nCount) {
        QRX_ASSERT(nCount != 0 && pRecords, "nCurCount && pCurRawData", source::kMarketDataSource);
        m_days.push_back({std::move(pRecords), nCount});
    }
    bool Empty() const { return m_days.empty(); }

    // Pieces in which days are copied, with a look at the quit flag in between.
    static constexpr size_t kJoinPiece = size_t{64} << 20;

    // Hands out one array. A single day is handed over as it is; of several, each is released once
    // it is copied. 0 or -4.
    int Join(size_t nUnitBytes, void** pData, int* pCount, const std::atomic<int>& bQuit) {
        int64_t nSum = 0;
        for (const Day& day : m_days) nSum += day.nCount;
        if (m_days.size() == 1) {
            *pData = m_days[0].pRecords.release();
        } else {
            char* pJoined = static_cast<char*>(NewResultBytes(nSum, nUnitBytes));
            if (pJoined == nullptr) return QRX_ERR_MEMORY;
            size_t nWrittenBytes = 0;
            for (Day& day : m_days) {
                const size_t nBytes = static_cast<size_t>(day.nCount) * nUnitBytes;
                const char* pDay = static_cast<const char*>(day.pRecords.get());
                for (size_t nDone = 0; nDone < nBytes && bQuit == 0; nDone += kJoinPiece) {
                    memcpy(pJoined + nWrittenBytes + nDone, pDay + nDone,
                           std::min(kJoinPiece, nBytes - nDone));
                }
                nWrittenBytes += nBytes;
                QRX_ASSERT(nWrittenBytes <= static_cast<size_t>(nSum) * nUnitBytes,
                           "nWritenBytes <= nSum*nUnitBytes", source::kMarketDataSource);
                day.pRecords.reset();
            }
            *pData = pJoined;
        }
        *pCount = static_cast<int>(nSum);
        return QRX_OK;
    }

private:
    struct Day {
        ResultOwner pRecords;
        int nCount;
    };
    std::vector<Day> m_days;
};

}  // namespace qrx

// oneDay(request of the day, data, count, first day, last day). Days step on a calendar of 31-day
// months: weekends and dates that do not exist are asked for too, and answered with no data. A day
// without data is skipped; any other failure discards the whole call.
template <class Request, class OneDay>
int MarketDataSource::RepeatDays(const Request& request, void** pData, int* pCount,
                                 size_t nUnitBytes, OneDay oneDay) {
    const int nBeginDate =
        request.nBeginDate > 0 ? request.nBeginDate : BusinessConvertor::GetCurYYMMDD();
    const int nEndDate = request.nEndDate >= 1 ? request.nEndDate : nBeginDate;
    qrx::DayList days;
    int nResult = QRX_ERR_NO_DATA;
    // Stops also where the next date is no later one: the calendar has an end.
    for (int nDate = nBeginDate, nBefore = 0; nDate > nBefore && nDate <= nEndDate && !Quitting();
         nBefore = nDate, nDate = BusinessConvertor::GetNextYYMMDD(nDate)) {
        Request dayRequest = request;
        dayRequest.nBeginDate = nDate;
        void* pCurRawData = nullptr;
        int nCurCount = 0;
        nResult = WithRetries(
            [&] { return oneDay(dayRequest, &pCurRawData, &nCurCount, nBeginDate, nEndDate); });
        if (nResult == QRX_OK) {
            days.Add(qrx::ResultOwner(pCurRawData), nCurCount);
        } else if (nResult != QRX_ERR_NO_DATA) {
            break;
        }
    }
    if (nResult == QRX_ERR_NO_DATA && !days.Empty()) nResult = QRX_OK;
    if (nResult == QRX_OK && !Quitting()) nResult = days.Join(nUnitBytes, pData, pCount, m_bQuit);
    if (!Quitting()) return nResult;
    qrx::FreeResult(std::exchange(*pData, nullptr));
    *pCount = 0;
    return QRX_ERR_NETWORK;
}

#endif
