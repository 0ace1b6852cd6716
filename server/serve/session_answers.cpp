// The answers that a client gets while it opens its session: to the login, and code tables.
#include "serve/answer_parts.h"
#include "text/encoding.h"

namespace qrx::server {

std::unique_ptr<Answer> AnswerCodeTable(const Request& request) {
    const auto body = ReadBody<ZPMDefine_RequestCodeTable>(request);
    const std::string strMarket = FieldText(body.chMarket);
    std::vector<CodeRow> vecCodes;
    if (IsOpenTo(request.user, strMarket)) vecCodes = request.store.Codes(strMarket);
    ZPMDefine_CodeTable_Head head{};
    head.nTotalItems = static_cast<int>(vecCodes.size());
    head.nItemSize = sizeof(ZPMDefine_CodeTable_Item);
    std::string strItems;
    strItems.reserve(vecCodes.size() * sizeof(ZPMDefine_CodeTable_Item));
    for (const auto& row : vecCodes) {
        ZPMDefine_CodeTable_Item item{};
        FillField(item.chCode, row.strCode.c_str(), sizeof item.chCode);
        FillGbkField(item.chName, row.strName);
        item.nType = row.nType;
        strItems.append(reinterpret_cast<const char*>(&item), sizeof item);
    }
    return MakeOnePacket(ID_ZPMTELE_CODETABLE, request, head, strItems);
}

std::string MakeLoginAnswer(Store& store, const UserRow& user, int nRequestID,
                            const std::string& strRefusal) {
    ZPMDefine_LoginAnswer answer{};
    if (strRefusal.empty()) {
        FillGbkField(answer.szInfo, "welcome");
        answer.nResult = 1;
        for (const auto& strMarket : user.vecMarkets) {
            FillField(answer.chMarket[answer.nMarkets], strMarket.c_str(), 4);
            // The client skips zeros and would shift the rest, so a market without codes has a
            // date.
            const int nChanged = store.CodesChanged(strMarket);
            answer.nMarketInfo[answer.nMarkets++] = nChanged != 0 ? nChanged : 19700101;
        }
    } else {
        FillGbkField(answer.szInfo, strRefusal);
    }
    return MakePacket(ID_ZPMTELE_LOGIN_ANSWER, nRequestID, &answer, sizeof answer);
}

}  // namespace qrx::server
