// The four formula calls: each one exchange behind the request gate, never repeated.
//
// A late answer of an earlier request is dropped by its id; every other packet is taken for the
// answer, and one of the wrong kind or size stops the process.
//
// Three limits of a formula's name meet here: a call keeps 512 characters for add, 24 for get and
// 27 for delete; on the wire there are 23, 24 and 23. Wanted.
#include <cstring>
#include <memory>
#include <new>

#include "formula/calc_decode.h"
#include "formula/converters.h"
#include "session/framing.h"
#include "session/request.h"
#include "support/assertion.h"
#include "support/result_memory.h"
#include "support/strings.h"

using qrx::source::kMarketDataSource;

namespace {

constexpr size_t kNameKept = 23;  // of add and delete
constexpr size_t kMaxText = size_t{1024} * 1024;

// An answer of fixed size: what it has to be, and the assertions that say so.
struct FixedAnswer {
    int nType;
    const char* szType;
    const char* szLength;
};
constexpr FixedAnswer kAddAnswer{ID_ZPMTELE_FORMULA_ADD_ANSWER, "head.sDataType==6051",
                                 "head.nDataLen==200"};
constexpr FixedAnswer kDeleteAnswer{ID_ZPMTELE_FORMULA_DELETE_ANSWER, "head.sDataType==6053",
                                    "head.nDataLen==92"};

template <class Answer>
int RecvFixed(MarketDataSource& session, const FixedAnswer& expected, int nRequestID,
              Answer& answer) {
    ZPMDefine_MessageHead head;
    const int nResult = session.RecvAnswerHead(head, expected.nType, nRequestID);
    if (nResult != 0) return nResult;
    constexpr auto kLength = static_cast<int>(sizeof answer);
    QRX_ASSERT(head.sDataType == expected.nType, expected.szType, kMarketDataSource);
    QRX_ASSERT(head.nDataLen == kLength, expected.szLength, kMarketDataSource);
    return session.RecvBody(head, &answer, kLength, kLength);
}

}  // namespace

int MarketDataSource::AddFormula(const std::string& strName, const std::string& strText,
                                 QRXDefine_AddFormulaRes* pRes) {
    return Gated([&] { return DoAddFormula(strName, strText, pRes); });
}

int MarketDataSource::DoAddFormula(const std::string& strName, const std::string& strText,
                                   QRXDefine_AddFormulaRes* pRes) {
    QRX_ASSERT(!strName.empty(), "strName.size()", kMarketDataSource);
    QRX_ASSERT(strText.size() < kMaxText, "strText.size()<1024*1024", kMarketDataSource);
    ZPMDefine_RequestAddFormula request{};
    qrx::FillField(request.szName, strName.c_str(), kNameKept);
    request.nTextLen = static_cast<uint32_t>(strText.size());
    // The body is four zero bytes longer than head and text together.
    std::string strBody(reinterpret_cast<const char*>(&request), sizeof request);
    strBody.append(strText).append(4, '\0');
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(ID_ZPMTELE_FORMULA_ADD, strBody.data(), static_cast<int>(strBody.size()),
                   nRequestID) <= 0) {
        return QRX_ERR_NETWORK;
    }
    ZPMDefine_AddFormulaAnswer answer;
    const int nResult = RecvFixed(*this, kAddAnswer, nRequestID, answer);
    if (nResult != 0) return nResult;
    if (pRes != nullptr) BusinessConvertor::HAddFormulaRes2T(answer, *pRes);
    return answer.nResult != 0 ? QRX_ERR_FORMULA : QRX_OK;
}

int MarketDataSource::DelFormula(const std::string& strName, QRXDefine_DelFormulaRes* pRes) {
    return Gated([&] { return DoDelFormula(strName, pRes); });
}

// 0 whatever happens: a refusal is told by the result's text only. A lost connection leaves the
// session ready, too, and the next request finds out. Deliberate.
int MarketDataSource::DoDelFormula(const std::string& strName, QRXDefine_DelFormulaRes* pRes) {
    ZPMDefine_FormulaName request{};
    qrx::FillField(request.szName, strName.c_str(), kNameKept);
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(ID_ZPMTELE_FORMULA_DELETE, &request, sizeof request, nRequestID) <= 0) {
        return QRX_OK;
    }
    ZPMDefine_DelFormulaAnswer answer;
    if (RecvFixed(*this, kDeleteAnswer, nRequestID, answer) == 0 && pRes != nullptr) {
        BusinessConvertor::HDelFormulaRes2T(answer, *pRes);
    }
    return QRX_OK;
}

int MarketDataSource::GetFormula(const std::string& strName, QRXDefine_FormulaItem** ppItems,
                                 int* pCount) {
    QRX_ASSERT(ppItems != nullptr, "ppItems", kMarketDataSource);
    QRX_ASSERT(pCount != nullptr, "pCount", kMarketDataSource);
    *ppItems = nullptr;
    *pCount = 0;
    return Gated([&] { return DoGetFormula(strName, ppItems, pCount); });
}

int MarketDataSource::DoGetFormula(const std::string& strName, QRXDefine_FormulaItem** ppItems,
                                   int* pCount) {
    ZPMDefine_FormulaName request{};
    qrx::FillField(request.szName, strName.c_str(), sizeof request.szName);
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(ID_ZPMTELE_FORMULA_GET, &request, sizeof request, nRequestID) <= 0) {
        return QRX_ERR_NETWORK;
    }
    ZPMDefine_MessageHead head;
    int nResult = RecvAnswerHead(head, ID_ZPMTELE_FORMULA_GET_ANSWER, nRequestID);
    if (nResult != 0) return nResult;
    constexpr auto kListHead = static_cast<int>(sizeof(ZPMDefine_FormulaList_Head));
    constexpr auto kItem = static_cast<int>(sizeof(ZPMDefine_FormulaItem));
    QRX_ASSERT(head.sDataType == ID_ZPMTELE_FORMULA_GET_ANSWER, "head.sDataType==6055",
               kMarketDataSource);
    QRX_ASSERT(head.nDataLen >= kListHead, "head.nDataLen>=8", kMarketDataSource);
    ZPMDefine_FormulaList_Head list;
    nResult = RecvBody(head, &list, kListHead, head.nDataLen);
    if (nResult != 0) return nResult;
    QRX_ASSERT(list.nItemSize == kItem, "nItemSize==152", kMarketDataSource);
    const int64_t nBytes = int64_t{list.nItems} * kItem;
    int nBodyLeft = head.nDataLen - kListHead;
    QRX_ASSERT(nBytes <= nBodyLeft, "nItems*nItemSize<=head.nDataLen-8", kMarketDataSource);
    if (list.nItems <= 0) {
        DropBody(head, nBodyLeft);
        return QRX_ERR_NO_DATA;
    }
    const auto nItems = static_cast<size_t>(list.nItems);
    const std::unique_ptr<ZPMDefine_FormulaItem[]> pItems(new (std::nothrow)
                                                              ZPMDefine_FormulaItem[nItems]());
    auto* pResult = qrx::NewResult<QRXDefine_FormulaItem>(list.nItems);
    if (!pItems || pResult == nullptr) {
        qrx::FreeResult(pResult);
        DropBody(head, nBodyLeft);
        return QRX_ERR_MEMORY;
    }
    // A receive that fails or times out here goes unreported: the items are converted as far as
    // they came, the others empty, and the call succeeds. Deliberate.
    if (RecvBody(head, pItems.get(), static_cast<int>(nBytes), nBodyLeft) == 0) {
        nBodyLeft -= static_cast<int>(nBytes);
        DropBody(head, nBodyLeft);  // what stands behind the items
    }
    for (size_t i = 0; i < nItems; ++i) BusinessConvertor::HFormulaItem2T(pItems[i], pResult[i]);
    *ppItems = pResult;
    *pCount = list.nItems;
    return QRX_OK;
}

int MarketDataSource::CalcFormula(const QRXDefine_ReqCalcFormula* pReq,
                                  QRXDefine_CalcFormulaRes* pRes) {
    return Gated([&] { return DoCalcFormula(pReq, pRes); });
}

int MarketDataSource::DoCalcFormula(const QRXDefine_ReqCalcFormula* pReq,
                                    QRXDefine_CalcFormulaRes* pRes) {
    QRX_ASSERT(pReq != nullptr, "pReq", kMarketDataSource);
    QRX_ASSERT(pRes != nullptr, "pRes", kMarketDataSource);
    ZPMDefine_RequestCalcFormula request;
    BusinessConvertor::T2HReqCalcFormula(*pReq, request);
    const auto nRequestID = static_cast<int>(get_uniq_id());
    if (SendPacket(ID_ZPMTELE_FORMULA_CALC, &request, sizeof request, nRequestID) <= 0) {
        return QRX_ERR_NETWORK;
    }
    PacketList packets;
    const int nResult = RecvFormulaCalcPacket<ZPMDefine_CalcFormula_Head>(
        packets, ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN, nRequestID);
    if (nResult != 0) return nResult;
    QRX_ASSERT(packets.vecPacket.size() == 1, "vecPacket.size() == 1", kMarketDataSource);
    return qrx::formula::DecodeCalcAnswer(packets.vecPacket[0],
                                          static_cast<size_t>(packets.vecPacketLen[0]), pRes);
}
