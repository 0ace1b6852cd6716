// Requests by type: the length that their body must have, and who answers them.
#include "serve/answers.h"

#include <algorithm>

#include "serve/answer_parts.h"

namespace qrx::server {
namespace {

struct RequestForm {
    int nType;
    int nBytes;
    std::unique_ptr<Answer> (*pfnAnswer)(const Request& request);  // null: the connection's own
    bool bLonger = false;                                          // nBytes is the least
    bool bSlow = false;
};
constexpr RequestForm kRequests[] = {
    {ID_ZPMTELE_LOGIN, sizeof(ZPMDefine_Login), nullptr},
    {ID_ZPMTELE_REQ_CODETABLE, sizeof(ZPMDefine_RequestCodeTable), AnswerCodeTable},
    {ID_ZPMTELE_REQ_TICK, sizeof(ZPMDefine_RequestTickData), AnswerTicks},
    {ID_ZPMTELE_REQ_TICK_NIGHT, sizeof(ZPMDefine_RequestTickData), AnswerTicks},
    {ID_ZPMTELE_REQ_SAVEDATA, sizeof(ZPMDefine_RequestSaveData), AnswerTrades},
    {ID_ZPMTELE_REQ_FUTURE, sizeof(ZPMDefine_RequestFuture), AnswerFutures},
    {ID_ZPMTELE_REQ_FUTURE_AB, sizeof(ZPMDefine_RequestFuture), AnswerFutures},
    {ID_ZPMTELE_REQ_OPTION, sizeof(ZPMDefine_RequestOption), AnswerOptions},
    {ID_ZPMTELE_REQ_OPTION_AB, sizeof(ZPMDefine_RequestOption), AnswerOptions},
    {ID_ZPMTELE_REQ_KDATA, sizeof(ZPMDefine_RequestKData), AnswerBars},
    {ID_ZPMTELE_REQ_KDATA_OPTION, sizeof(ZPMDefine_RequestKData_Option), AnswerOptionBars},
    {ID_ZPMTELE_FORMULA_ADD, kAddFormulaBytes, AnswerAddFormula, true, true},
    {ID_ZPMTELE_FORMULA_DELETE, sizeof(ZPMDefine_FormulaName), AnswerDeleteFormula, false, true},
    {ID_ZPMTELE_FORMULA_GET, sizeof(ZPMDefine_FormulaName), AnswerGetFormula, false, true},
    {ID_ZPMTELE_FORMULA_CALC, sizeof(ZPMDefine_RequestCalcFormula), AnswerCalcFormula, false, true},
};

const RequestForm& FormOf(int nType) {
    const auto* p = std::find_if(std::begin(kRequests), std::end(kRequests),
                                 [=](const RequestForm& form) { return form.nType == nType; });
    if (p == std::end(kRequests)) {
        throw ProtocolError("unknown request type " + std::to_string(nType));
    }
    return *p;
}

}  // namespace

std::string MakePacket(int nType, int nRequestID, const void* pBody, size_t nBytes,
                       const std::string& strStream) {
    ZPMDefine_MessageHead head{};
    head.sFlags = PROTOCAL_NUMBER;
    head.sDataType = static_cast<int16_t>(nType);
    head.nDataLen = static_cast<int32_t>(nBytes + strStream.size());
    head.nRequestID = nRequestID;
    std::string strPacket;
    strPacket.reserve(sizeof head + nBytes + strStream.size());
    strPacket.append(reinterpret_cast<const char*>(&head), sizeof head);
    strPacket.append(static_cast<const char*>(pBody), nBytes);
    strPacket += strStream;
    return strPacket;
}

void CheckHead(const ZPMDefine_MessageHead& head) {
    if (head.sFlags != PROTOCAL_NUMBER) throw ProtocolError("not a message of this protocol");
    if (head.nDataLen < 0 || head.nDataLen > kMaxRequestBytes) {
        throw ProtocolError("request of " + std::to_string(head.nDataLen) + " bytes");
    }
    const RequestForm& form = FormOf(head.sDataType);
    if (form.bLonger ? head.nDataLen < form.nBytes : head.nDataLen != form.nBytes) {
        throw ProtocolError("request of type " + std::to_string(head.sDataType) + " with " +
                            std::to_string(head.nDataLen) + " bytes");
    }
}

bool IsSlow(const ZPMDefine_MessageHead& head) {
    return FormOf(head.sDataType).bSlow;
}

std::unique_ptr<Answer> MakeAnswer(Store& store, const UserRow& user,
                                   const ZPMDefine_MessageHead& head, const std::string& strBody) {
    return FormOf(head.sDataType)
        .pfnAnswer({store, user, head.sDataType, head.nRequestID, strBody});
}

}  // namespace qrx::server
