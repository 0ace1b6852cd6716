// One exchange of a data request, from the request body to the array of records.
#ifndef QRX_TICKS_EXCHANGE_H
#define QRX_TICKS_EXCHANGE_H

#include "session/framing.h"
#include "support/assertion.h"
#include "support/diagnostics.h"
#include "support/result_memory.h"

// The records that the heads of the packets from nFirst on announce.
template <class Head>
int64_t AnnouncedItems(const PacketList& packets, size_t nFirst) {
    using qrx::source::kMarketDataSource;
    QRX_ASSERT(!packets.vecPacket.empty(), "vecPacket.size()", kMarketDataSource);
    QRX_ASSERT(packets.vecPacket.size() == packets.vecPacketLen.size(),
               "vecPacket.size() == vecPacketLen.size()", kMarketDataSource);
    int64_t nSum = 0;
    for (size_t i = nFirst; i < packets.vecPacket.size(); ++i) {
        QRX_ASSERT(packets.vecPacketLen[i] >= static_cast<int>(sizeof(Head)),
                   "vecPacketLen[i]>=sizeof(head)", kMarketDataSource);
        const int nItems = HeadOf<Head>(packets.vecPacket[i]).nItems;
        nSum += nItems < 0 ? 0 : nItems;
    }
    return nSum;
}

// Takes an answer some packets at a time, each time they have nEnough bytes: while they are decoded
// the next ones arrive. Where the result would take a large part of the machine's memory, it is
// written no further before the whole answer is there and known to fit. decode(packets, array,
// capacity) returns the records written; it is called with room for every record that the heads
// announce. 0 with records behind those of the result, -3 without, -4 (the answer is read to its
// end all the same), or what receiving gave; after a failure the result may hold a part of the
// answer.
template <class Head, class Decode>
int MarketDataSource::ExchangeInto(const ExchangePlan& plan, int64_t nEnough,
                                   qrx::ResultBuffer& result, Decode decode) {
    using qrx::source::kMarketDataSource;
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(plan.nSendType, plan.pBody, plan.nBodyLen, nRequestID) <= 0) {
        return QRX_ERR_NETWORK;
    }
    const auto nUnit = static_cast<int64_t>(plan.nRecordSize);
    PacketList packets;
    int64_t nAnnounced = 0;
    int64_t nPlaced = 0;
    int64_t nKept = 0;
    bool bRefused = false;
    while (!packets.bLast) {
        const size_t nHeld = packets.vecPacket.size();
        const int nResult = RecvPacket<Head>(packets, nEnough, plan.nAnswerType, nRequestID);
        if (nResult < 0) {
            QRX_ASSERT(packets.vecPacketLen.empty(), "vecPacketLen.size() == 0", kMarketDataSource);
            QRX_ASSERT(packets.vecPacket.empty(), "vecPacket.size() == 0", kMarketDataSource);
            return nResult;
        }
        nAnnounced += AnnouncedItems<Head>(packets, nHeld);
        bRefused = bRefused || !qrx::limits::ResultFits(nAnnounced, plan.nRecordSize);
        const int64_t nItems = nAnnounced - nPlaced;
        if (!bRefused && nItems > 0) {
            const bool bLarge = qrx::limits::IsLarge((result.Count() + nItems) * nUnit);
            if (bLarge && !packets.bLast) continue;
            void* pRoom = result.Room(nItems, !packets.bLast);
            bRefused = pRoom == nullptr;
            if (pRoom != nullptr) {
                const int nCount = decode(packets, pRoom, static_cast<int>(nItems));
                result.Keep(nCount);
                nKept += nCount;
                nPlaced = nAnnounced;
            }
        }
        if (bRefused) {
            packets.Clear();
        } else {
            packets.Spend();
        }
    }
    if (!bRefused) return nKept > 0 ? QRX_OK : QRX_ERR_NO_DATA;
    if (plan.szOwner != nullptr) {
        const uint64_t nBytes = static_cast<uint64_t>(nAnnounced) * plan.nRecordSize;
        ErrPrint("%s: can not allocate %lld bytes\n", plan.szOwner, static_cast<long long>(nBytes));
    }
    return QRX_ERR_MEMORY;
}

// What run puts into a result, as an array of its own. Asserts and clears the outputs first.
template <class Request, class Run>
int IntoArray(const Request* pReq, void** pData, int* pCount, size_t nRecordSize, Run run) {
    using qrx::source::kMarketDataSource;
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    qrx::ResultBuffer result(nRecordSize);
    const int nResult = run(result);
    if (nResult == QRX_OK) *pData = result.Release(pCount);
    return nResult;
}

// An exchange for decoders that want the whole answer at once, into an array of its own.
template <class Head, class Decode>
int MarketDataSource::Exchange(const ExchangePlan& plan, void** pData, int* pCount, Decode decode) {
    return IntoArray(&plan, pData, pCount, plan.nRecordSize, [&](qrx::ResultBuffer& result) {
        return ExchangeInto<Head>(plan, INT64_MAX, result, decode);
    });
}

#endif
