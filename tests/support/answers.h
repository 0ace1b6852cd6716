// Bodies of answers that carry records.
#ifndef QRX_TESTS_SUPPORT_ANSWERS_H
#define QRX_TESTS_SUPPORT_ANSWERS_H

#include <cstring>
#include <string>
#include <vector>

#include "codec/codecs.h"
#include "support/scripted_server.h"

namespace qrx::test {

// A head of a security and a day, where it has room for them.
template <class Head>
Head HeadFor(const char* szCode, const char* szMarket, int nDate = 0) {
    Head head{};
    if constexpr (requires { head.chCode; }) {
        memcpy(head.chCode, szCode, strnlen(szCode, sizeof head.chCode));
        memcpy(head.chMarket, szMarket, strnlen(szMarket, sizeof head.chMarket));
    }
    if constexpr (requires { head.nDate; }) head.nDate = nDate;
    return head;
}

// One packet: the head, with the number of the records, and these.
template <class Head, class Record>
std::string AnswerBody(Head head, const std::vector<Record>& records, bool bLast = true) {
    head.nItems = static_cast<int>(records.size());
    head.nLastPacket = bLast ? 1 : 0;
    std::string strBody = Bytes(head);
    for (const Record& record : records) EXPECT_TRUE(codec::EncodeRecord(record, strBody));
    return strBody;
}

}  // namespace qrx::test

#endif
