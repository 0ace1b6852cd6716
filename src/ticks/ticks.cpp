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
    const size_t nUnitBytes = bAB ? sizeof(QRXDefine_TickAB) : sizeof(QRXDefine_Tick);
    return RepeatDays(*pReq, pData, pCount, nUnitBytes,
                      [&](const QRXDefine_ReqTick& day, void** pDayData, int* pDayCount,
                          int nBeginDate, int nEndDate) {
                          return DoReqTickOneDay_Night(&day, pDayData, pDayCount, bAB, nBeginDate,
                                                       nEndDate);
                      });
}

int MarketDataSource::DoReqTickOneDay_Night(const QRXDefine_ReqTick* pReq, void** pData,
                                            int* pCount, bool bAB, int nBeginDate, int nEndDate) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    ZPMDefine_RequestTickData zpmReqTick;
    BusinessConvertor::T2HReqTick(*pReq, zpmReqTick, bAB ? 3 : 2, pReq->nBeginDate, 0, -1);
    QRX_ASSERT((zpmReqTick.nFlags & 0x02) != 0, "zpmReqTick.nFlags & 0x02", kMarketDataSource);
    const ExchangePlan plan{ID_ZPMTELE_REQ_TICK_NIGHT,
                            &zpmReqTick,
                            sizeof zpmReqTick,
                            ID_ZPMTELE_TICK_NIGHT,
                            bAB ? sizeof(QRXDefine_TickAB) : sizeof(QRXDefine_Tick),
                            "DoReqTickOneDay_Night"};
    return Exchange<ZPMDefine_TickData_Head>(
        plan, pData, pCount, [&](const PacketList& packets, void* pArray, int nMax) {
            const auto decode = [&](auto* pRecords, auto pfnDecompress, auto pfnConvert) {
                return DecompressFast<ZPMDefine_TickData_Head>(
                    pRecords, nMax, packets.vecPacket, packets.vecPacketLen, pfnDecompress,
                    pfnConvert, ID_ZPMTELE_TICK_NIGHT, nBeginDate, nEndDate, pReq->nBeginTime,
                    pReq->nEndTime, nullptr);
            };
            return bAB ? decode(static_cast<QRXDefine_TickAB*>(pArray), &decompress_Tick_AB_Night,
                                &BusinessConvertor::HTickABNight2T)
                       : decode(static_cast<QRXDefine_Tick*>(pArray), &decompress_Tick_Night,
                                &BusinessConvertor::HTickNight2T);
        });
}

// The day-only formats; nothing in the library asks for them.
int MarketDataSource::DoReqTickOneDay(const QRXDefine_ReqTick* pReq, void** pData, int* pCount,
                                      bool bAB, int nBeginDate, int nEndDate) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    ZPMDefine_RequestTickData zpmReqTick;
    BusinessConvertor::T2HReqTick(*pReq, zpmReqTick, bAB ? 3 : 2, pReq->nBeginDate, 0, -1);
    QRX_ASSERT((zpmReqTick.nFlags & 0x02) != 0, "zpmReqTick.nFlags & 0x02", kMarketDataSource);
    const bool bIndex =
        IsIndex(qrx::FieldText(zpmReqTick.chMarket), qrx::FieldText(zpmReqTick.chCode));
    int nAnswerType = ID_ZPMTELE_TICKKDATA_ACC_EX;
    if (bIndex) {
        nAnswerType = ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX;
    } else if (bAB) {
        nAnswerType = ID_ZPMTELE_TICKKDATA_AB_ACC_EX;
    }
    const ExchangePlan plan{ID_ZPMTELE_REQ_TICK,
                            &zpmReqTick,
                            sizeof zpmReqTick,
                            nAnswerType,
                            bAB ? sizeof(QRXDefine_TickAB) : sizeof(QRXDefine_Tick),
                            "DoReqTickOneDay"};
    return Exchange<ZPMDefine_TickData_Head>(
        plan, pData, pCount, [&](const PacketList& packets, void* pArray, int nMax) {
            const auto decode = [&](auto* pRecords, auto pfnDecompress, auto pfnConvert) {
                return DecompressFast<ZPMDefine_TickData_Head>(
                    pRecords, nMax, packets.vecPacket, packets.vecPacketLen, pfnDecompress,
                    pfnConvert, nAnswerType, nBeginDate, nEndDate, pReq->nBeginTime, pReq->nEndTime,
                    nullptr);
            };
            auto* pTicks = static_cast<QRXDefine_Tick*>(pArray);
            auto* pTicksAB = static_cast<QRXDefine_TickAB*>(pArray);
            if (bIndex && bAB) {
                return decode(pTicksAB, &decompress_TickData_Index_ACC_EX,
                              &BusinessConvertor::HTickIndexACC2TAB);
            }
            if (bIndex) {
                return decode(pTicks, &decompress_TickData_Index_ACC_EX,
                              &BusinessConvertor::HTickIndexACC2T);
            }
            return bAB ? decode(pTicksAB, &decompress_TickData_AB_ACC_EX,
                                &BusinessConvertor::HTickABACC2T)
                       : decode(pTicks, &decompress_TickData_ACC_EX,
                                &BusinessConvertor::HTickACC2T);
        });
}
