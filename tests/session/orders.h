// Answers to order requests, and what a request for orders gives.
#ifndef QRX_TESTS_SESSION_ORDERS_H
#define QRX_TESTS_SESSION_ORDERS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codec/codecs.h"
#include "support/scripted_server.h"

namespace qrx::test {

inline std::string OrderBody(int nFirst, int nItems, bool bLast) {
    ZPMDefine_SaveData_Head head{};
    memcpy(head.chCode, "600000", 6);
    memcpy(head.chMarket, "SH", 2);
    head.nDate = 20240105;
    head.nItems = nItems;
    head.nLastPacket = bLast ? 1 : 0;
    std::string strBody = Bytes(head);
    for (int i = 0; i < nItems; ++i) {
        ZPMDefine_Order_v2 order{};
        order.nTime = 93000000 + i;
        order.nIndex = nFirst + i;
        codec::EncodeRecord(order, strBody);
    }
    return strBody;
}

inline std::string OrderPacket(int nId, int nFirst, int nItems, bool bLast) {
    return Packet(ID_ZPMTELE_ORDER_V2, nId, OrderBody(nFirst, nItems, bLast));
}

struct Answer {
    int nResult;
    std::vector<int> indexes;
};
inline Answer GetOrders(void* h, int nBegin = 20240105, int nEnd = 0) {
    const auto request = RequestFor<QRXDefine_ReqOrder>("600000.SH", nBegin, nEnd);
    QRXDefine_Order* pOrders = nullptr;
    int nCount = 0;
    Answer answer{QRX_GetOrder(h, &request, &pOrders, &nCount), {}};
    EXPECT_EQ(pOrders != nullptr, answer.nResult == 0);
    for (int i = 0; i < nCount; ++i) answer.indexes.push_back(int{pOrders[i].nIndex});
    QRX_Free(pOrders);
    return answer;
}

}  // namespace qrx::test

#endif
