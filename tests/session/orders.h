// Answers to order requests, and what a request for orders gives.
#ifndef QRX_TESTS_SESSION_ORDERS_H
#define QRX_TESTS_SESSION_ORDERS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/answers.h"
#include "support/fetch.h"

namespace qrx::test {

inline std::string OrderBody(int nFirst, int nItems, bool bLast) {
    std::vector<ZPMDefine_Order_v2> orders(static_cast<size_t>(nItems));
    for (int i = 0; i < nItems; ++i) {
        orders[static_cast<size_t>(i)].nTime = 93000000 + i;
        orders[static_cast<size_t>(i)].nIndex = nFirst + i;
    }
    return AnswerBody(HeadFor<ZPMDefine_SaveData_Head>("600000", "SH", 20240105), orders, bLast);
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
    const auto [nResult, orders] = Fetch(&QRX_GetOrder, h, request);
    Answer answer{nResult, {}};
    for (const QRXDefine_Order& order : orders) answer.indexes.push_back(+order.nIndex);
    return answer;
}

}  // namespace qrx::test

#endif
