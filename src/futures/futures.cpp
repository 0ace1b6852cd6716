// Futures and options: the entry points, the multi-day request and the one-day requests.
#include <memory>

#include "codec/codecs.h"
#include "futures/completion.h"
#include "futures/converters.h"
#include "support/limits.h"
#include "support/strings.h"
#include "ticks/day_driver.h"
#include "ticks/exchange.h"
#include "ticks/range_filter.h"

using qrx::source::kMarketDataSource;

namespace {

// Kinds of security, by the low byte of the code record's type.
bool IsFutureType(int nType) {
    return nType >= 0x70 && nType <= 0x7D;
}
bool IsOptionType(int nType) {
    return (nType & 0xF0) == 0x90;
}

// What a futures request and an option request differ in.
struct FuturePath {
    using Request = ZPMDefine_RequestFuture;
    static constexpr auto kBuild = &BusinessConvertor::T2HReqFuture;
    static constexpr int kSendType[2] = {ID_ZPMTELE_REQ_FUTURE, ID_ZPMTELE_REQ_FUTURE_AB};
};
struct OptionPath {
    using Request = ZPMDefine_RequestOption;
    static constexpr auto kBuild = &BusinessConvertor::T2HReqOption;
    static constexpr int kSendType[2] = {ID_ZPMTELE_REQ_OPTION, ID_ZPMTELE_REQ_OPTION_AB};
};

template <class Path>
int OneDay(MarketDataSource& session, const QRXDefine_ReqFuture* pReq, void** pData, int* pCount,
           bool bAB, int nBeginDate, int nEndDate) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    typename Path::Request request;
    Path::kBuild(*pReq, request);
    const std::string strCode = qrx::FieldText(request.chCode);
    const std::string strMarket = qrx::FieldText(request.chMarket);
    // The diagnostic names the futures function for options too. Wanted.
    const MarketDataSource::ExchangePlan plan{
        Path::kSendType[bAB ? 1 : 0],
        &request,
        sizeof request,
        bAB ? ID_ZPMTELE_FUTURE_AB : ID_ZPMTELE_FUTURE,
        bAB ? sizeof(QRXDefine_FutureAB) : sizeof(QRXDefine_Future),
        "DoReqFutureOneDay_Night"};
    int nResult = session.Exchange<ZPMDefine_Future_Head>(
        plan, pData, pCount, [&](const PacketList& packets, void* pArray, int nMax) {
            return session.DecompressFutureVec(
                pArray, nMax, packets.vecPacket, packets.vecPacketLen, strCode, strMarket,
                nBeginDate, nEndDate, pReq->nBeginTime, pReq->nEndTime, bAB, nullptr);
        });
    // A day that a close cut off is thrown away by the driver; its grid's conditions may not hold.
    if (nResult != QRX_OK || pReq->nAutoComplete == 0 || session.Quitting()) return nResult;

    auto nItems = static_cast<unsigned>(*pCount);
    nResult = BusinessConvertor::AutoCompleteFutureTickOneDay(pData, &nItems, bAB,
                                                              strMarket.c_str(), strCode.c_str(),
                                                              static_cast<unsigned>(request.nDate));
    *pCount = static_cast<int>(nItems);
    if (nResult != QRX_OK) {
        qrx::FreeResult(std::exchange(*pData, nullptr));
        *pCount = 0;
    }
    return nResult;
}

// What is the same for every packet of a day.
struct DayDecode {
    const MarketDataSource& session;
    const std::vector<char*>& vecPacket;
    const std::vector<int>& vecPacketLen;
    qrx::RangeFilter filter;
    std::string strVelaCode;
    std::string strCode;
    int nCapacity;

    // Returns the records written. Server records pass through a small block, so that no peer's
    // count sizes anything here.
    template <class Record, class Body>
    int Run(Record* pRecords, int (*pfnDecompress)(char*, int, Body*, int),
            void (*pfnConvert)(Record&, const Body&, const std::string&, const std::string&, int,
                               int, int)) const {
        constexpr int kScratch = qrx::limits::kScratchRecords;
        const std::unique_ptr<Body[]> pScratch(new Body[kScratch]);
        uint64_t nAccVolume = 0;  // over the whole call; unsigned, since a peer's numbers may wrap
        uint64_t nAccTurnover = 0;
        int nCount = 0;
        const auto more = [&] { return nCount < nCapacity && !session.Quitting(); };
        for (size_t i = 0; i < vecPacket.size() && !session.Quitting(); ++i) {
            const auto head = HeadOf<ZPMDefine_Future_Head>(vecPacket[i]);
            char* pStream = vecPacket[i] + sizeof head;
            int nLeft = vecPacketLen[i] - static_cast<int>(sizeof head);
            for (int nFirst = 0; nFirst < head.nItems && more(); nFirst += kScratch) {
                const int nBlock = std::min(kScratch, head.nItems - nFirst);
                memset(static_cast<void*>(pScratch.get()), 0,
                       static_cast<size_t>(nBlock) * sizeof(Body));
                const int nUsed = pfnDecompress(pStream, nLeft, pScratch.get(), nBlock);
                pStream += nUsed;
                nLeft -= nUsed;
                for (int j = 0; j < nBlock && more(); ++j) {
                    const Body& body = pScratch[static_cast<size_t>(j)];
                    // Records that are filtered out count too.
                    nAccVolume += static_cast<uint64_t>(body.iVolume);
                    nAccTurnover += static_cast<uint64_t>(body.iTurnover);
                    if (filter.Drops(body.nDate, body.nTime)) continue;
                    Record& record = pRecords[nCount++];
                    pfnConvert(record, body, strVelaCode, strCode, head.nDayRef1, head.nDayRef2,
                               head.nDayRef3);
                    record.iAccVolume = static_cast<int64_t>(nAccVolume);
                    record.iAccTurnover = static_cast<int64_t>(nAccTurnover);
                }
            }
        }
        return nCount;
    }
};

}  // namespace

int MarketDataSource::GetFuture(const QRXDefine_ReqFuture* pReq, QRXDefine_Future** pData,
                                int* pCount) {
    return GatedArray(pReq, pData, pCount, [&](void** ppArray) {
        return RepeatDoReqFuture(pReq, ppArray, pCount, false);
    });
}

int MarketDataSource::GetFutureAB(const QRXDefine_ReqFuture* pReq, QRXDefine_FutureAB** pData,
                                  int* pCount) {
    return GatedArray(pReq, pData, pCount, [&](void** ppArray) {
        return RepeatDoReqFuture(pReq, ppArray, pCount, true);
    });
}

int MarketDataSource::RepeatDoReqFuture(const QRXDefine_ReqFuture* pReq, void** pData, int* pCount,
                                        bool bAB) {
    const QRXDefine_Code* pCode = FindCode(qrx::FieldText(pReq->chCode));
    if (pCode == nullptr) return QRX_ERR_NO_DATA;
    const int nType = pCode->nType & 0xFF;
    const bool bFuture = IsFutureType(nType);
    if (!bFuture && !IsOptionType(nType)) return QRX_ERR_TYPE;
    const size_t nUnitBytes = bAB ? sizeof(QRXDefine_FutureAB) : sizeof(QRXDefine_Future);
    return RepeatDays(
        *pReq, pData, pCount, nUnitBytes,
        [&](const QRXDefine_ReqFuture& day, qrx::ResultBuffer& result, int nBeginDate,
            int nEndDate) {
            void* pDayData = nullptr;
            int nDayCount = 0;
            const int nResult =
                bFuture ? DoReqFutureOneDay_Night(&day, &pDayData, &nDayCount, bAB, nBeginDate,
                                                  nEndDate)
                        : DoReqOptionOneDay(&day, &pDayData, &nDayCount, bAB, nBeginDate, nEndDate);
            if (nResult != QRX_OK) return nResult;
            return result.Add(qrx::ResultOwner(pDayData), nDayCount) ? nResult
                                                                     : int{QRX_ERR_MEMORY};
        });
}

int MarketDataSource::DoReqFutureOneDay_Night(const QRXDefine_ReqFuture* pReq, void** pData,
                                              int* pCount, bool bAB, int nBeginDate, int nEndDate) {
    return OneDay<FuturePath>(*this, pReq, pData, pCount, bAB, nBeginDate, nEndDate);
}

int MarketDataSource::DoReqOptionOneDay(const QRXDefine_ReqFuture* pReq, void** pData, int* pCount,
                                        bool bAB, int nBeginDate, int nEndDate) {
    return OneDay<OptionPath>(*this, pReq, pData, pCount, bAB, nBeginDate, nEndDate);
}

int MarketDataSource::DecompressFutureVec(void* pFutureArr, int nCapacity,
                                          const std::vector<char*>& vecPacket,
                                          const std::vector<int>& vecPacketLen,
                                          const std::string& strCode, const std::string& strMarket,
                                          int nBeginDate, int nEndDate, int nBeginTime,
                                          int nEndTime, bool bAB, int* pErr) {
    QRX_ASSERT(pFutureArr != nullptr, "pFutureArr", kMarketDataSource);
    QRX_ASSERT(vecPacket.size() == vecPacketLen.size(), "vecPacket.size() == vecPacketLen.size()",
               kMarketDataSource);
    if (pErr != nullptr) *pErr = 0;
    constexpr int kCodeBuffer = 48;
    constexpr int kMarketWidth = 4;
    char szCode[kCodeBuffer + 1] = {};
    BusinessConvertor::NormalizeCode(szCode, kCodeBuffer, strCode.c_str(),
                                     static_cast<int>(strCode.size()), strMarket.c_str(),
                                     kMarketWidth);
    const DayDecode decode{
        *this,
        vecPacket,
        vecPacketLen,
        {nBeginDate, nEndDate, nBeginTime, nEndTime},
        BusinessConvertor::GetVelaCode(strCode.c_str(), static_cast<int>(strCode.size()),
                                       strMarket.c_str(), static_cast<int>(strMarket.size())),
        szCode,
        nCapacity};
    return bAB ? decode.Run(static_cast<QRXDefine_FutureAB*>(pFutureArr),
                            &decompress_Future_AB_Night, &BusinessConvertor::HFutureAB2T)
               : decode.Run(static_cast<QRXDefine_Future*>(pFutureArr), &decompress_Future_Night,
                            &BusinessConvertor::HFuture2T);
}
