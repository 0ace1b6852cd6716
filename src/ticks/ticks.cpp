// Ticks: the entry points, the multi-day request and the one-day requests.
#include "codec/codecs.h"
#include "support/strings.h"
#include "ticks/converters.h"
#include "ticks/day_driver.h"
#include "ticks/exchange.h"
#include "ticks/fast_pipeline.h"

using qrx::source::kMarketDataSource;

namespace {

// Types of futures, which have calls of their own.
constexpr int kFirstFuture = 112;
constexpr int kLastFuture = 125;

constexpr size_t TickSize(bool bAB) {
    return bAB ? sizeof(QRXDefine_TickAB) : sizeof(QRXDefine_Tick);
}

}  // namespace

int MarketDataSource::GetTick(const QRXDefine_ReqTick* pReq, QRXDefine_Tick** pData, int* pCount) {
    return GatedArray(pReq, pData, pCount, [&](void** ppArray) {
        return RepeatDoReqTick(pReq, ppArray, pCount, false);
    });
}

int MarketDataSource::GetTickAB(const QRXDefine_ReqTick* pReq, QRXDefine_TickAB** pData,
                                int* pCount) {
    return GatedArray(pReq, pData, pCount,
                      [&](void** ppArray) { return RepeatDoReqTick(pReq, ppArray, pCount, true); });
}

// The low byte of the type decides. The trade requests accept every kind of code: the check exists
// on this path only.
int MarketDataSource::RepeatDoReqTick(const QRXDefine_ReqTick* pReq, void** pData, int* pCount,
                                      bool bAB) {
    const QRXDefine_Code* pCode = FindCode(qrx::FieldText(pReq->chCode));
    if (pCode == nullptr) return QRX_ERR_NO_DATA;
    const int nType = pCode->nType & 0xFF;
    if (nType >= kFirstFuture && nType <= kLastFuture) return QRX_ERR_TYPE;
    return RepeatDays(
        *pReq, pData, pCount, TickSize(bAB),
        [&](const QRXDefine_ReqTick& day, qrx::ResultBuffer& result, int nBeginDate, int nEndDate) {
            return NightTicksOneDay(&day, result, bAB, nBeginDate, nEndDate);
        });
}

// The steps that both forms of the request share: which format answers is decided with the server
// request at hand, and its decoder by the record that is wanted.
template <class AnswerType, class Decode>
int MarketDataSource::TicksOneDay(const TickForm& form, const QRXDefine_ReqTick* pReq,
                                  qrx::ResultBuffer& result, bool bAB, AnswerType answerType,
                                  Decode decode) {
    ZPMDefine_RequestTickData zpmReqTick;
    BusinessConvertor::T2HReqTick(*pReq, zpmReqTick, bAB ? 3 : 2, pReq->nBeginDate, 0, -1);
    QRX_ASSERT((zpmReqTick.nFlags & 0x02) != 0, "zpmReqTick.nFlags & 0x02", kMarketDataSource);
    const int nAnswerType = answerType(zpmReqTick);
    const ExchangePlan plan{form.nSendType, &zpmReqTick,   sizeof zpmReqTick,
                            nAnswerType,    TickSize(bAB), form.szName};
    return ExchangeInto<ZPMDefine_TickData_Head>(
        plan, qrx::limits::kDecodeBatch, result,
        [&](const PacketList& packets, void* pArray, int nMax) {
            const auto run = [&](auto* pRecords, auto pfnDecompress, auto pfnConvert) {
                return DecompressFast<ZPMDefine_TickData_Head>(
                    pRecords, nMax, packets.vecPacket, packets.vecPacketLen, pfnDecompress,
                    pfnConvert, nAnswerType, form.nBeginDate, form.nEndDate, pReq->nBeginTime,
                    pReq->nEndTime, nullptr);
            };
            return decode(run, nAnswerType, static_cast<QRXDefine_Tick*>(pArray),
                          static_cast<QRXDefine_TickAB*>(pArray));
        });
}

int MarketDataSource::NightTicksOneDay(const QRXDefine_ReqTick* pReq, qrx::ResultBuffer& result,
                                       bool bAB, int nBeginDate, int nEndDate) {
    return TicksOneDay(
        {ID_ZPMTELE_REQ_TICK_NIGHT, "DoReqTickOneDay_Night", nBeginDate, nEndDate}, pReq, result,
        bAB, [](const ZPMDefine_RequestTickData&) -> int { return ID_ZPMTELE_TICK_NIGHT; },
        [&](const auto& run, int, QRXDefine_Tick* pTicks, QRXDefine_TickAB* pTicksAB) {
            return bAB ? run(pTicksAB, &decompress_Tick_AB_Night,
                             &BusinessConvertor::HTickABNight2T)
                       : run(pTicks, &decompress_Tick_Night, &BusinessConvertor::HTickNight2T);
        });
}

int MarketDataSource::DoReqTickOneDay_Night(const QRXDefine_ReqTick* pReq, void** pData,
                                            int* pCount, bool bAB, int nBeginDate, int nEndDate) {
    return IntoArray(pReq, pData, pCount, TickSize(bAB), [&](qrx::ResultBuffer& result) {
        return NightTicksOneDay(pReq, result, bAB, nBeginDate, nEndDate);
    });
}

// The day-only formats; nothing in the library asks for them.
int MarketDataSource::DoReqTickOneDay(const QRXDefine_ReqTick* pReq, void** pData, int* pCount,
                                      bool bAB, int nBeginDate, int nEndDate) {
    return IntoArray(pReq, pData, pCount, TickSize(bAB), [&](qrx::ResultBuffer& result) {
        return TicksOneDay(
            {ID_ZPMTELE_REQ_TICK, "DoReqTickOneDay", nBeginDate, nEndDate}, pReq, result, bAB,
            [&](const ZPMDefine_RequestTickData& request) -> int {
                if (IsIndex(qrx::FieldText(request.chMarket), qrx::FieldText(request.chCode))) {
                    return ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX;
                }
                return bAB ? ID_ZPMTELE_TICKKDATA_AB_ACC_EX : ID_ZPMTELE_TICKKDATA_ACC_EX;
            },
            [&](const auto& run, int nAnswerType, QRXDefine_Tick* pTicks,
                QRXDefine_TickAB* pTicksAB) {
                if (nAnswerType == ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX) {
                    return bAB ? run(pTicksAB, &decompress_TickData_Index_ACC_EX,
                                     &BusinessConvertor::HTickIndexACC2TAB)
                               : run(pTicks, &decompress_TickData_Index_ACC_EX,
                                     &BusinessConvertor::HTickIndexACC2T);
                }
                return bAB ? run(pTicksAB, &decompress_TickData_AB_ACC_EX,
                                 &BusinessConvertor::HTickABACC2T)
                           : run(pTicks, &decompress_TickData_ACC_EX,
                                 &BusinessConvertor::HTickACC2T);
            });
    });
}
