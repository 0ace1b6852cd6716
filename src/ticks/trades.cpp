// Transactions, orders and order queues: one pattern, and the table of their differences.
#include "codec/codecs.h"
#include "support/strings.h"
#include "ticks/converters.h"
#include "ticks/day_driver.h"
#include "ticks/exchange.h"
#include "ticks/fast_pipeline.h"


namespace {

// What differs between the three kinds.
struct TransactionKind {
    using Record = QRXDefine_Transaction;
    static constexpr int kAnswerType = ID_ZPMTELE_TRANSACTION_V2;
    static constexpr auto kBuild = &BusinessConvertor::T2HReqTransaction;
    static constexpr auto kDecompress = &decompress_Transaction_v2;
    static void Convert(const ZPMDefine_Transaction_v2& src, Record& dst, int nDate,
                        const std::string& strVelaCode, const std::string& strCode) {
        BusinessConvertor::HTranaction2T(src, dst, nDate, strVelaCode, strCode);
    }
};
struct OrderKind {
    using Record = QRXDefine_Order;
    static constexpr int kAnswerType = ID_ZPMTELE_ORDER_V2;
    static constexpr auto kBuild = &BusinessConvertor::T2HReqOrder;
    static constexpr auto kDecompress = &decompress_Order_v2;
    static void Convert(const ZPMDefine_Order_v2& src, Record& dst, int nDate,
                        const std::string& strVelaCode, const std::string& strCode) {
        BusinessConvertor::HOrder2T(src, dst, nDate, strVelaCode, strCode);
    }
};
struct OrderQueueKind {
    using Record = QRXDefine_OrderQueue;
    static constexpr int kAnswerType = ID_ZPMTELE_ORDERQUEUE_V2;
    static constexpr auto kBuild = &BusinessConvertor::T2HReqOrderQueue;
    static constexpr auto kDecompress = &decompress_OrderQueue;
    static void Convert(const ZPMDefine_OrderQueue& src, Record& dst, int nDate,
                        const std::string& strVelaCode, const std::string& strCode) {
        BusinessConvertor::HOrderQueue2T(src, dst, nDate, strVelaCode, strCode);
    }
};

}  // namespace

template <class Kind>
int MarketDataSource::TradesOneDay(const QRXDefine_ReqTransaction* pReq, qrx::ResultBuffer& result,
                                   int nBeginDate, int nEndDate) {
    ZPMDefine_RequestSaveData request;
    Kind::kBuild(*pReq, request, pReq->nBeginDate, 0, -1);
    const ExchangePlan plan{
        ID_ZPMTELE_REQ_SAVEDATA,       &request, sizeof request, Kind::kAnswerType,
        sizeof(typename Kind::Record), nullptr};
    return ExchangeInto<ZPMDefine_SaveData_Head>(
        plan, qrx::limits::kDecodeBatch, result,
        [&](const PacketList& packets, void* pArray, int nMax) {
            return DecompressFast<ZPMDefine_SaveData_Head>(
                static_cast<typename Kind::Record*>(pArray), nMax, packets.vecPacket,
                packets.vecPacketLen, Kind::kDecompress, &Kind::Convert, Kind::kAnswerType,
                nBeginDate, nEndDate, pReq->nBeginTime, pReq->nEndTime, nullptr);
        });
}

template <class Kind>
int MarketDataSource::RepeatTrades(const QRXDefine_ReqTransaction* pReq, void** pData,
                                   int* pCount) {
    if (FindCode(qrx::FieldText(pReq->chCode)) == nullptr) return QRX_ERR_NO_DATA;
    return RepeatDays(
        *pReq, pData, pCount, sizeof(typename Kind::Record),
        [&](const QRXDefine_ReqTransaction& day, qrx::ResultBuffer& result, int nBeginDate,
            int nEndDate) { return TradesOneDay<Kind>(&day, result, nBeginDate, nEndDate); });
}

#define QRX_TRADE_MEMBERS(Name, Request, Kind)                                                   \
    int MarketDataSource::Get##Name(const Request* pReq, Kind::Record** pData, int* pCount) {    \
        return GatedArray(pReq, pData, pCount, [&](void** ppArray) {                             \
            return RepeatTrades<Kind>(pReq, ppArray, pCount);                                    \
        });                                                                                      \
    }                                                                                            \
    int MarketDataSource::RepeatDoReq##Name(const QRXDefine_ReqTransaction* pReq,                \
                                            Kind::Record** pData, int* pCount) {                 \
        return RepeatTrades<Kind>(pReq, reinterpret_cast<void**>(pData), pCount);                \
    }                                                                                            \
    int MarketDataSource::DoReq##Name##OneDay(const QRXDefine_ReqTransaction* pReq,              \
                                              Kind::Record** pData, int* pCount, int nBeginDate, \
                                              int nEndDate) {                                    \
        return IntoArray(pReq, reinterpret_cast<void**>(pData), pCount, sizeof(Kind::Record),    \
                         [&](qrx::ResultBuffer& result) {                                        \
                             return TradesOneDay<Kind>(pReq, result, nBeginDate, nEndDate);      \
                         });                                                                     \
    }

QRX_TRADE_MEMBERS(Transaction, QRXDefine_ReqTransaction, TransactionKind)
QRX_TRADE_MEMBERS(Order, QRXDefine_ReqOrder, OrderKind)
QRX_TRADE_MEMBERS(OrderQueue, QRXDefine_ReqOrderQueue, OrderQueueKind)
