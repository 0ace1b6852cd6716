// From packet bodies to public records: decode, date and time, range filter, convert.
// This is the plain pipeline; faster paths give the same result, record for record.
#ifndef QRX_TICKS_PIPELINE_H
#define QRX_TICKS_PIPELINE_H

#include <algorithm>
#include <memory>
#include <new>

#include "session/framing.h"
#include "support/assertion.h"
#include "support/limits.h"
#include "ticks/range_filter.h"

namespace qrx {

// Where the records of a message type carry date and time, in 32-bit words of the server record.
struct RecordClock {
    int nDateWord;  // -1: the packet head's date
    int nTimeWord;
    bool bSeconds;  // HHMMSS: multiplied by 1000, and written back into the record
};

inline RecordClock ClockOf(int nMsgType) {
    switch (nMsgType) {
        case ID_ZPMTELE_TICKKDATA_ACC_EX:
        case ID_ZPMTELE_TICKKDATA_AB_ACC_EX:
        case ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX:
        case ID_ZPMTELE_TRANSACTION:
        case ID_ZPMTELE_ORDER:
        case ID_ZPMTELE_ORDERQUEUE_V2:
        case ID_ZPMTELE_TRANSACTION_V2:
        case ID_ZPMTELE_ORDER_V2:
            return {-1, 0, false};
        case ID_ZPMTELE_ORDERQUEUE:
            return {-1, 0, true};
        case ID_ZPMTELE_TICK_NIGHT:
            return {0, 1, false};
        case ID_ZPMTELE_DAYKDATA:
        case ID_ZPMTELE_DAYKDATA_INDEX:
            return {0, 1, true};
        default:
            break;
    }
    QRX_ASSERT(false, "0", source::kMarketDataSource);
}

inline int32_t LoadWord(const void* pRecord, int nWord) {
    int32_t n;
    memcpy(&n, static_cast<const char*>(pRecord) + 4 * nWord, sizeof n);
    return n;
}

// The time of a record, put into HHMMSSmmm in the record itself where it came as HHMMSS.
inline int32_t SettleTime(void* pRecord, const RecordClock& clock) {
    int32_t nTime = LoadWord(pRecord, clock.nTimeWord);
    if (clock.bSeconds) {
        nTime = static_cast<int32_t>(static_cast<uint32_t>(nTime) * 1000U);
        memcpy(static_cast<char*>(pRecord) + 4 * clock.nTimeWord, &nTime, sizeof nTime);
    }
    return nTime;
}

// Date that a head gives to records without their own.
template <class Head>
int HeadDate(const Head& head) {
    if constexpr (requires { head.nDate; }) {
        return head.nDate;
    } else {
        return 0;
    }
}

// Bars only: the close before the first kept bar, or that bar's own.
class PreviousClose {
public:
    PreviousClose(int* pOut, int nBeginTime) : m_pOut(pOut), m_nBeginTime(nBeginTime) {
        if (m_pOut != nullptr) *m_pOut = 0;
    }
    void Keep(const void* pRecord, int nTime, int nCount) {
        if (m_pOut == nullptr || nCount != 0 || *m_pOut != 0) return;
        *m_pOut = m_nBeginTime != 0 && nTime != m_nBeginTime ? m_nBefore : LoadWord(pRecord, kWord);
    }
    void Pass(const void* pRecord) {
        if (m_pOut != nullptr) m_nBefore = LoadWord(pRecord, kWord);
    }

private:
    static constexpr int kWord = 5;
    int* m_pOut;
    int m_nBeginTime;
    int m_nBefore = 0;
};

}  // namespace qrx

// Records announced beyond a stream's end are delivered as zero records with codes filled.
template <class Head, class Body, class Record>
int MarketDataSource::DecompressRawVec(
    Record* pQRXArr, int nMaxCount, const std::vector<char*>& vecPacket,
    const std::vector<int>& vecPacketLen, int (*pfnDecompress)(char*, int, Body*, int),
    void (*pfnConvert)(const Body&, Record&, int, const std::string&, const std::string&),
    int nMsgType, int nBeginDate, int nEndDate, int nBeginTime, int nEndTime, int* pOut) {
    using qrx::source::kMarketDataSource;
    QRX_ASSERT(pQRXArr != nullptr, "pQRXArr", kMarketDataSource);
    QRX_ASSERT(vecPacketLen.size() == vecPacket.size(), "vecPacketLen.size() == vecPacket.size()",
               kMarketDataSource);
    QRX_ASSERT(pfnDecompress != nullptr, "pfnDecompress", kMarketDataSource);

    constexpr int kScratch = qrx::limits::kScratchRecords;
    const qrx::RangeFilter filter{nBeginDate, nEndDate, nBeginTime, nEndTime};
    const qrx::RecordClock clock = qrx::ClockOf(nMsgType);
    const bool bBars = nMsgType == ID_ZPMTELE_DAYKDATA || nMsgType == ID_ZPMTELE_DAYKDATA_INDEX;
    if (pOut != nullptr) *pOut = 0;
    qrx::PreviousClose previous(bBars ? pOut : nullptr, nBeginTime);
    const std::unique_ptr<Body[]> pScratch(new Body[kScratch]);
    int nCount = 0;
    for (size_t i = 0; i < vecPacket.size() && !Quitting(); ++i) {
        const Head head = HeadOf<Head>(vecPacket[i]);
        const int nItems = head.nItems;
        const std::string strVelaCode = BusinessConvertor::GetVelaCode(
            head.chCode, sizeof head.chCode, head.chMarket, sizeof head.chMarket);
        const std::string strCode(head.chCode, strnlen(head.chCode, sizeof head.chCode));
        char* pStream = vecPacket[i] + sizeof(Head);
        int nLeft = vecPacketLen[i] - static_cast<int>(sizeof(Head));
        for (int nFirst = 0; nFirst < nItems && nCount < nMaxCount && !Quitting();
             nFirst += kScratch) {
            const int nBlock = std::min(kScratch, nItems - nFirst);
            memset(static_cast<void*>(pScratch.get()), 0,
                   static_cast<size_t>(nBlock) * sizeof(Body));
            const int nUsed = pfnDecompress(pStream, nLeft, pScratch.get(), nBlock);
            pStream += nUsed;
            nLeft -= nUsed;
            for (int j = 0; j < nBlock && nCount < nMaxCount && !Quitting(); ++j) {
                Body& body = pScratch[static_cast<size_t>(j)];
                const int nTime = qrx::SettleTime(&body, clock);
                const int nDate = clock.nDateWord < 0 ? qrx::HeadDate(head)
                                                      : qrx::LoadWord(&body, clock.nDateWord);
                if (!filter.Drops(nDate, nTime)) {
                    previous.Keep(&body, nTime, nCount);
                    pfnConvert(body, pQRXArr[nCount++], nDate, strVelaCode, strCode);
                }
                previous.Pass(&body);
            }
        }
    }
    return nCount;
}

#endif
