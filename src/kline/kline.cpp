// The request of bars: one exchange for the whole range, and the completion of what came.
#include <memory>

#include "codec/codecs.h"
#include "kline/align.h"
#include "kline/converters.h"
#include "session/request.h"
#include "support/date_time.h"
#include "support/strings.h"
#include "ticks/exchange.h"
#include "ticks/pipeline.h"

using qrx::source::kMarketDataSource;

namespace {

// What differs between options and all other securities.
struct OrdinaryBars {
    using Request = ZPMDefine_RequestKData;
    using Head = ZPMDefine_KData_Head;
    static constexpr int kSendType = ID_ZPMTELE_REQ_KDATA;
    static constexpr int AnswerType(bool bIndex) {
        return bIndex ? ID_ZPMTELE_DAYKDATA_INDEX : ID_ZPMTELE_DAYKDATA;
    }
};
struct OptionBars {
    using Request = ZPMDefine_RequestKData_Option;
    using Head = ZPMDefine_KData_Option_Head;
    static constexpr int kSendType = ID_ZPMTELE_REQ_KDATA_OPTION;
    static constexpr int AnswerType(bool) { return ID_ZPMTELE_DAYKDATA_OPTION; }
};

struct FreeBars {
    void operator()(QRXDefine_KLine* pBars) const { qrx::FreeResult(pBars); }
};
using OwnedBars = std::unique_ptr<QRXDefine_KLine[], FreeBars>;

// Asks with ordinary daily bars, also for options, and keeps the time bounds of the request.
qrx::PreviousDaily PreviousDailyOf(MarketDataSource& source, const QRXDefine_ReqKLine* pReq) {
    constexpr int kDaysBack = 15;
    return [&source, pReq](QRXDefine_KLine& bar) {
        QRXDefine_ReqKLine daily = *pReq;
        daily.nCycType = CYC_DAY;
        daily.nCycDef = 1;
        daily.nAutoComplete = 0;
        daily.nBeginDate = BusinessConvertor::GetDiffDay(pReq->nBeginDate, -kDaysBack);
        daily.nEndDate = BusinessConvertor::GetPrevYYMMDD(pReq->nBeginDate);
        QRXDefine_KLine* pBars = nullptr;
        int nCount = 0;
        const int nResult = source.DoReqK(&daily, &pBars, &nCount);
        const OwnedBars bars(pBars);
        if (nResult == QRX_OK) bar = bars[static_cast<size_t>(nCount - 1)];
        return nResult;
    };
}

bool IsFine(int nCycType) {
    return nCycType == CYC_SECOND || nCycType == CYC_MINUTE;
}

// Replaces decoded bars by bars on their market's grid.
int CompleteBars(MarketDataSource& source, const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                 int* pCount) {
    const OwnedBars decoded(std::exchange(*pData, nullptr));
    const int nDecoded = std::exchange(*pCount, 0);
    char szCode[32 + 1] = {};
    char szMarket[32 + 1] = {};
    BusinessConvertor::VelaCode2GQCode(szCode, 32, szMarket, 32, pReq->chCode, sizeof pReq->chCode);
    const qrx::GridRow* pRow = qrx::FindGridRow(szMarket, szCode);
    QRX_ASSERT(pRow != nullptr, "0", kMarketDataSource);
    MarketDataSource::KLineArray aligned(nullptr, 0);
    const int nResult = qrx::AlignBars(*pRow, aligned, {decoded.get(), nDecoded}, pReq,
                                       PreviousDailyOf(source, pReq));
    if (nResult != QRX_OK) return nResult;
    *pData = aligned.first;
    *pCount = aligned.second;
    return QRX_OK;
}

template <class Kind>
int RequestBars(MarketDataSource& source, const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                int* pCount) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pData != nullptr, "pData", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *pData = nullptr;
    *pCount = 0;
    typename Kind::Request request{};
    BusinessConvertor::T2HReqK(pReq, &request, 0, -1);
    if (pReq->nAutoComplete != 0) request.nFlags = 0;  // the server never completes bars
    const bool bIndex =
        source.IsIndex(qrx::FieldText(request.chMarket), qrx::FieldText(request.chCode));
    const MarketDataSource::ExchangePlan plan{Kind::kSendType,         &request,
                                              sizeof request,          Kind::AnswerType(bIndex),
                                              sizeof(QRXDefine_KLine), "DoReqK"};
    void* pArray = nullptr;
    const int nResult = source.Exchange<typename Kind::Head>(
        plan, &pArray, pCount, [&](const PacketList& packets, void* pBars, int nMax) {
            int nPreClose = 0;  // the pipeline gives it; the aligners ask for theirs
            const auto decode = [&]<class Head, class Body>(
                                    int (*pfnDecompress)(char*, int, Body*, int),
                                    void (*pfnConvert)(const Body&, QRXDefine_KLine&, int,
                                                       const std::string&, const std::string&),
                                    int nMsgType) {
                return source.DecompressRawVec<Head>(
                    static_cast<QRXDefine_KLine*>(pBars), nMax, packets.vecPacket,
                    packets.vecPacketLen, pfnDecompress, pfnConvert, nMsgType, pReq->nBeginDate,
                    pReq->nEndDate, pReq->nBeginTime, pReq->nEndTime, &nPreClose);
            };
            // Index bars come behind the ordinary head, also where an option's head was counted:
            // that head is the longer one, so nothing outside the packet is read.
            static_assert(sizeof(typename Kind::Head) >= sizeof(ZPMDefine_KData_Head));
            if (bIndex) {
                return decode.template operator()<ZPMDefine_KData_Head>(
                    &decompress_KData_Index, &BusinessConvertor::HKDataIndex2T,
                    ID_ZPMTELE_DAYKDATA_INDEX);
            }
            return decode.template operator()<typename Kind::Head>(
                &decompress_KData, &BusinessConvertor::HKData2T, ID_ZPMTELE_DAYKDATA);
        });
    *pData = static_cast<QRXDefine_KLine*>(pArray);
    if (nResult != QRX_OK || pReq->nAutoComplete == 0 || !IsFine(pReq->nCycType)) return nResult;
    return CompleteBars(source, pReq, pData, pCount);
}

}  // namespace

int MarketDataSource::GetKLine(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                               int* pCount) {
    return GatedArray(pReq, pData, pCount, [&](void** ppArray) {
        QRXDefine_KLine* pBars = nullptr;
        const int nResult = RepeatDoReqK(pReq, &pBars, pCount);
        *ppArray = pBars;
        return nResult;
    });
}

int MarketDataSource::RepeatDoReqK(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                                   int* pCount) {
    constexpr int kKindMask = 0xF0;
    constexpr int kOption = 0x90;
    *pData = nullptr;
    *pCount = 0;
    const QRXDefine_Code* pCode = FindCode(qrx::FieldText(pReq->chCode));
    if (pCode == nullptr) return QRX_ERR_NO_DATA;
    const bool bOption = (pCode->nType & kKindMask) == kOption;  // read before any reconnect
    QRXDefine_ReqKLine request = *pReq;
    if (request.nBeginDate < 1) request.nBeginDate = BusinessConvertor::GetCurYYMMDD();
    if (request.nEndDate < 1) request.nEndDate = request.nBeginDate;
    const int nResult = WithRetries([&] {
        return bOption ? DoReqK_Option(&request, pData, pCount) : DoReqK(&request, pData, pCount);
    });
    if (!Quitting()) return nResult;
    qrx::FreeResult(std::exchange(*pData, nullptr));
    *pCount = 0;
    return QRX_ERR_NETWORK;
}

int MarketDataSource::DoReqK(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData, int* pCount) {
    return RequestBars<OrdinaryBars>(*this, pReq, pData, pCount);
}

int MarketDataSource::DoReqK_Option(const QRXDefine_ReqKLine* pReq, QRXDefine_KLine** pData,
                                    int* pCount) {
    return RequestBars<OptionBars>(*this, pReq, pData, pCount);
}

// -- The aligners by name: each chooses a row of the grids ---------------------------------------

int MarketDataSource::AlignMinSH(KLineArray& pairResult, const InputArray& pairInput,
                                 const QRXDefine_ReqKLine* pReq) {
    return qrx::AlignBars(*qrx::FindGridRow("SH", ""), pairResult, pairInput, pReq,
                          PreviousDailyOf(*this, pReq));
}

int MarketDataSource::AlignMinCF(KLineArray& pairResult, const InputArray& pairInput,
                                 const QRXDefine_ReqKLine* pReq, CYCTYPE) {
    return qrx::AlignBars(*qrx::FindGridRow("CF", ""), pairResult, pairInput, pReq,
                          PreviousDailyOf(*this, pReq));
}

int MarketDataSource::AlignNormalMinSHF(KLineArray& pairResult, const InputArray& pairInput,
                                        const QRXDefine_ReqKLine* pReq, bool bAllocResult,
                                        CYCTYPE) {
    return qrx::AlignDayBars(*qrx::FindGridRow("SHF", ""), pairResult, pairInput, pReq,
                             bAllocResult, PreviousDailyOf(*this, pReq));
}

int MarketDataSource::AlignNightMinSHF(KLineArray& pairResult, const InputArray& pairInput,
                                       const QRXDefine_ReqKLine* pReq, CYCTYPE) {
    return qrx::AlignBars(*qrx::FindGridRow("SHF", "au"), pairResult, pairInput, pReq,
                          PreviousDailyOf(*this, pReq));
}

// Codes that have a row of another name count as copper here.
int MarketDataSource::AlignNightMinCuSHF(KLineArray& pairResult, const InputArray& pairInput,
                                         const QRXDefine_ReqKLine* pReq, CYCTYPE) {
    const qrx::GridRow* pRow = qrx::FindGridRow("SHF", qrx::FieldText(pReq->chCode));
    if (pRow->pNight == nullptr || pRow == qrx::FindNightRow("SHF")) {
        pRow = qrx::FindGridRow("SHF", "cu");
    }
    return qrx::AlignBars(*pRow, pairResult, pairInput, pReq, PreviousDailyOf(*this, pReq));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): texts by value, as declared
int MarketDataSource::AlignNightMinFutures(std::string strMarket, KLineArray& pairResult,
                                           const InputArray& pairInput,
                                           const QRXDefine_ReqKLine* pReq, CYCTYPE) {
    const qrx::GridRow* pRow = qrx::FindNightRow(strMarket);
    QRX_ASSERT(pRow != nullptr, "0", kMarketDataSource);
    return qrx::AlignBars(*pRow, pairResult, pairInput, pReq, PreviousDailyOf(*this, pReq));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool MarketDataSource::IsDCENightCode(std::string strCode) {
    return qrx::FindGridRow("DCE", strCode)->pNight != nullptr;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool MarketDataSource::IsCZCNightCode(std::string strCode) {
    return qrx::FindGridRow("CZC", strCode)->pNight != nullptr;
}
