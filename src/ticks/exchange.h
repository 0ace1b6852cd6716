// One exchange of a data request, from the request body to the array of records.
#ifndef QRX_TICKS_EXCHANGE_H
#define QRX_TICKS_EXCHANGE_H

#include "session/framing.h"
#include "support/assertion.h"
#include "support/diagnostics.h"
#include "support/result_memory.h"

// decode(packets, array, capacity) returns the records written; it is called with room for every
// record that the heads announce. 0 with an array, -3 without records, -4, or what receiving gave.
template <class Head, class Decode>
int MarketDataSource::Exchange(const ExchangePlan& plan, void** pData, int* pCount, Decode decode) {
    using qrx::source::kMarketDataSource;
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(plan.nSendType, plan.pBody, plan.nBodyLen, nRequestID) <= 0) {
        return QRX_ERR_NETWORK;
    }
    PacketList packets;
    const int nResult =
        RecvPacket<Head>(packets.vecPacket, packets.vecPacketLen, plan.nAnswerType, nRequestID);
    if (nResult < 0) {
        QRX_ASSERT(packets.vecPacketLen.empty(), "vecPacketLen.size() == 0", kMarketDataSource);
        QRX_ASSERT(packets.vecPacket.empty(), "vecPacket.size() == 0", kMarketDataSource);
        return nResult;
    }
    QRX_ASSERT(!packets.vecPacket.empty(), "vecPacket.size()", kMarketDataSource);
    QRX_ASSERT(packets.vecPacket.size() == packets.vecPacketLen.size(),
               "vecPacket.size() == vecPacketLen.size()", kMarketDataSource);
    int64_t nSum = 0;
    for (size_t i = 0; i < packets.vecPacket.size(); ++i) {
        QRX_ASSERT(packets.vecPacketLen[i] >= static_cast<int>(sizeof(Head)),
                   "vecPacketLen[i]>=sizeof(head)", kMarketDataSource);
        const int nItems = HeadOf<Head>(packets.vecPacket[i]).nItems;
        nSum += nItems < 0 ? 0 : nItems;
    }
    if (nSum == 0) return QRX_ERR_NO_DATA;
    qrx::ResultOwner pArray(qrx::NewResultBytes(nSum, plan.nRecordSize));
    if (!pArray) {
        if (plan.szOwner != nullptr) {
            ErrPrint("%s: can not allocate %lld bytes\n", plan.szOwner,
                     static_cast<long long>(nSum) * static_cast<long long>(plan.nRecordSize));
        }
        return QRX_ERR_MEMORY;
    }
    const int nCount = decode(packets, pArray.get(), static_cast<int>(nSum));
    if (nCount == 0) return QRX_ERR_NO_DATA;
    *pData = pArray.release();
    *pCount = nCount;
    return QRX_OK;
}

#endif
