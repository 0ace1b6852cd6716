// Data calls as values (result code and records), and the bodies of requests.
#ifndef QRX_TESTS_SUPPORT_FETCH_H
#define QRX_TESTS_SUPPORT_FETCH_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/scripted_server.h"

namespace qrx::test {

template <class Record>
struct Fetched {
    int nResult;
    std::vector<Record> records;
};

// call(&array, &count); holds the outputs against the result: an array and its count, or null and
// 0.
template <class Record, class Call>
Fetched<Record> FetchArray(Call call) {
    int nCount = 77;
    Record* pData = reinterpret_cast<Record*>(&nCount);
    const int nResult = call(&pData, &nCount);
    EXPECT_EQ(pData != nullptr, nResult == 0);
    EXPECT_TRUE(nResult == 0 ? nCount > 0 : nCount == 0) << nCount << " with " << nResult;
    if (nResult != 0) return {nResult, {}};
    Fetched<Record> fetched{nResult, {pData, pData + nCount}};
    QRX_Free(pData);
    return fetched;
}
template <class Request, class Record>
Fetched<Record> Fetch(int (*pfn)(void*, const Request*, Record**, int*), void* h,
                      const Request& request) {
    return FetchArray<Record>(
        [&](Record** ppData, int* pCount) { return pfn(h, &request, ppData, pCount); });
}

// A request's body: code and market in their fields, then numbers of four bytes.
inline std::string Sent(std::string strCode, size_t nCodeWidth, std::string strMarket,
                        const std::vector<int>& words) {
    strCode.resize(nCodeWidth);
    strMarket.resize(4);
    strCode += strMarket;
    for (const int nWord : words) strCode += Bytes(nWord);
    return strCode;
}

}  // namespace qrx::test

#endif
