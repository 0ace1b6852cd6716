// A data call as a value: result code and records.
#ifndef QRX_TESTS_SUPPORT_FETCH_H
#define QRX_TESTS_SUPPORT_FETCH_H

#include <gtest/gtest.h>
#include <qrx/qrx.h>

#include <vector>

namespace qrx::test {

template <class Record>
struct Fetched {
    int nResult;
    std::vector<Record> records;
};

// Holds the outputs against the result: an array and its count, or null and 0.
template <class Request, class Record>
Fetched<Record> Fetch(int (*pfn)(void*, const Request*, Record**, int*), void* h,
                      const Request& request) {
    int nCount = 77;
    Record* pData = reinterpret_cast<Record*>(&nCount);
    const int nResult = pfn(h, &request, &pData, &nCount);
    EXPECT_EQ(pData != nullptr, nResult == 0);
    EXPECT_TRUE(nResult == 0 ? nCount > 0 : nCount == 0) << nCount << " with " << nResult;
    if (nResult != 0) return {nResult, {}};
    Fetched<Record> fetched{nResult, {pData, pData + nCount}};
    QRX_Free(pData);
    return fetched;
}

}  // namespace qrx::test

#endif
