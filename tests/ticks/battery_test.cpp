// What every data request must stand, written once and run over all kinds: the request byte by
// byte, an answer in single bytes, cut at every byte, empty, of several packets and days, and too
// late.
#include <gtest/gtest.h>

#include <thread>

#include "codec/codecs.h"
#include "support/fetch.h"

namespace qrx::test {
namespace {

constexpr int kDay = 20240105;

// A kind of request: how to call it, what it sends for kDay, and how its server answers n records.
struct Kind {
    const char* szName;
    size_t nRecordSize;
    int nRequestType, nAnswerType;
    std::string strRequest;
    std::function<Fetched<std::string>(void*, int, int)> call;
    std::function<std::string(int nDate, int nItems, bool bLast)> body;
};

template <class Request, class Record>
auto Call(int (*pfn)(void*, const Request*, Record**, int*), const char* szCode) {
    return [=](void* h, int nBegin, int nEnd) {
        const auto fetched = Fetch(pfn, h, RequestFor<Request>(szCode, nBegin, nEnd));
        Fetched<std::string> bytes{fetched.nResult, {}};
        for (const Record& record : fetched.records) bytes.records.push_back(Bytes(record));
        return bytes;
    };
}

std::string SentTick(int nFlags) {
    return Sent("600000", 8, "SH", {nFlags, kDay, 0, -1, 0, INT32_MIN, 0});
}
std::string SentTrade(const char* szCode, const char* szMarket, int nDataKind, int nMark) {
    return Sent(szCode, 8, szMarket, {0, kDay, nDataKind, 0, -1, 0, nMark, 0, 0});
}

template <class Head, class Body>
auto AnswerOf(bool bOwnDate) {
    return [=](int nDate, int nItems, bool bLast) {
        Head head{};
        if constexpr (requires { head.nDate; }) head.nDate = nDate;
        head.nItems = nItems;
        head.nLastPacket = bLast ? 9 : 0;
        std::string strBody = Bytes(head);
        for (int i = 0; i < nItems; ++i) {
            Body body{};
            if constexpr (requires { body.nDate; }) {
                if (bOwnDate) body.nDate = nDate;
            }
            body.nTime = std::is_same_v<Body, ZPMDefine_KData> ? 93000 + i : 93000000 + i;
            codec::EncodeRecord(body, strBody);
        }
        return strBody;
    };
}

const std::vector<Kind>& Kinds() {
    const char *szIndex = "600000.sh", *szCopper = "CU1701.shf", *szOption = "io1701-c-3500.cf";
    static const std::vector<Kind> kKinds = {
        // The first: not a day a request.
        {"bar", 112, 101, 1010,
         Sent("600000", 8, "SH", {0, 0, 0, 0, 11, 1, kDay, kDay, 0, 0, 0, 0, 0, 0, 0}),
         Call(&QRX_GetKLine, szIndex), AnswerOf<ZPMDefine_KData_Head, ZPMDefine_KData>(true)},
        {"tick", 154, 110, 1048, SentTick(2), Call(&QRX_GetTick, szIndex),
         AnswerOf<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(true)},
        {"tick with levels", 338, 110, 1048, SentTick(3), Call(&QRX_GetTickAB, szIndex),
         AnswerOf<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night>(true)},
        {"transaction", 95, 111, 1038, SentTrade("600000", "SH", 0, 0),
         Call(&QRX_GetTransaction, szIndex),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_Transaction_v2>(false)},
        {"order", 90, 111, 1039, SentTrade("cu1701", "SHF", 2, 0x22222222),
         Call(&QRX_GetOrder, szCopper),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_Order_v2>(false)},
        {"order queue", 288, 111, 1037, SentTrade("600000", "SH", 1, 0),
         Call(&QRX_GetOrderQueue, szIndex),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_OrderQueue>(false)},
        {"future", 145, 112, 1049, Sent("cu1701", 8, "SHF", {kDay, 0, -1}),
         Call(&QRX_GetFuture, szCopper),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_Night>(true)},
        {"option with levels", 225, 115, 1050, Sent("IO1701-C-3500", 16, "CF", {kDay, 0, -1}),
         Call(&QRX_GetFutureAB, szOption),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_AB_Night>(true)},
        // From here on not cut at every byte: in that they are as the two above.
        {"future with levels", 225, 113, 1050, Sent("cu1701", 8, "SHF", {kDay, 0, -1}),
         Call(&QRX_GetFutureAB, szCopper),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_AB_Night>(true)},
        {"option", 145, 114, 1049, Sent("IO1701-C-3500", 16, "CF", {kDay, 0, -1}),
         Call(&QRX_GetFuture, szOption),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_Night>(true)}};
    return kKinds;
}

class Battery : public testing::TestWithParam<size_t> {
protected:
    const Kind& kind() const { return Kinds()[GetParam()]; }
    std::string Whole(int nId, int nDate) const {
        return Packet(kind().nAnswerType, nId, kind().body(nDate, 3, false)) +
               Packet(kind().nAnswerType, nId, kind().body(nDate, 0, false)) +
               Packet(kind().nAnswerType, nId, kind().body(nDate, 2, true));
    }
    // The day that is asked for; all of the request for kDay is held against what is to be sent.
    int DateOf(const Message& r) const {
        int nDate;
        memcpy(&nDate, r.strBody.data() + kind().strRequest.find(Bytes(kDay)), 4);
        EXPECT_EQ(r.head.sDataType, kind().nRequestType);
        if (nDate == kDay) EXPECT_EQ(r.strBody, kind().strRequest);
        return nDate;
    }
};

class CutBattery : public Battery {};

TEST_P(Battery, DaysPacketsAndSingleBytes) {
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        const int nDate = DateOf(r);
        if (nDate == 20240106)
            return peer.Answer(r, kind().nAnswerType, kind().body(nDate, 0, true));
        return peer.SendInPieces(Whole(r.head.nRequestID, nDate), nDate == 20240107 ? 1 : 100);
    }));
    Session session(server.Port());
    const auto [nResult, records] = kind().call(session.Get(), kDay, 20240107);
    ASSERT_EQ(nResult, 0);
    ASSERT_EQ(records.size(), 10U);
    for (size_t i = 0; i < 10; ++i) {
        ASSERT_EQ(records[i].size(), kind().nRecordSize);
        EXPECT_EQ(records[i].substr(64, 4), Bytes(i < 5 ? kDay : 20240107)) << i;
    }
    EXPECT_EQ(kind().call(session.Get(), 20240106, 20240106).nResult, -3);
}

// The connection is cut after every byte of the answer: without a retry that is -1, with one the
// answer comes whole.
TEST_P(CutBattery, AtEveryByte) {
    const size_t nWhole = Whole(1, kDay).size();
    constexpr size_t kThreads = 48;
    std::atomic<size_t> nNext{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (size_t nCut = nNext++; nCut < nWhole; nCut = nNext++) {
                ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
                    const std::string strAll = Whole(r.head.nRequestID, DateOf(r));
                    // Once after so much that it is decoded before the cut.
                    if (nCut == 0 && peer.Index() == 1) {
                        peer.Send(Packet(kind().nAnswerType, r.head.nRequestID,
                                         kind().body(kDay, 1, false) + std::string(4 << 20, '\0')));
                    }
                    peer.Send(strAll.substr(0, peer.Index() < 2 ? nCut : strAll.size()));
                    return peer.Index() >= 2;
                }));
                Session session(server.Port(), 20, 0, 1);
                ASSERT_EQ(kind().call(session.Get(), kDay, kDay).nResult, -1) << nCut;
                if (nCut % 8 != 0) continue;  // the pause before a reconnect is a second
                Session retrying(server.Port(), 20, 1, 1);
                const auto whole = kind().call(retrying.Get(), kDay, kDay);
                ASSERT_EQ(whole.nResult, 0) << nCut;
                ASSERT_EQ(whole.records.size(), 5U) << nCut;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_P(Battery, AFailingDayDiscardsTheEarlierOnes) {
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        const int nDate = DateOf(r);
        return nDate != kDay || peer.Send(Whole(r.head.nRequestID, nDate));
    }));
    Session session(server.Port(), 1);
    EXPECT_EQ(kind().call(session.Get(), kDay, 20240107).nResult, -2);
    EXPECT_EQ(kind().call(session.Get(), kDay, kDay).nResult, 0);  // still open, in step
}

TEST_P(Battery, WithoutDatesTodayIsAskedFor) {
    std::vector<int> days;
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        days.push_back(DateOf(r));
        return peer.Answer(r, kind().nAnswerType, kind().body(1, 0, true));
    }));
    Session session(server.Port());
    EXPECT_EQ(kind().call(session.Get(), 0, 0).nResult, -3);
    ASSERT_EQ(days.size(), 1U);
    EXPECT_GT(days[0], 20240105);
}

std::string NameOf(const testing::TestParamInfo<size_t>& kindInfo) {
    std::string strName = Kinds()[kindInfo.param].szName;
    std::replace(strName.begin(), strName.end(), ' ', '_');
    return strName;
}
INSTANTIATE_TEST_SUITE_P(Kinds, Battery, testing::Range<size_t>(1, Kinds().size()), NameOf);
INSTANTIATE_TEST_SUITE_P(Kinds, CutBattery, testing::Range<size_t>(0, 8), NameOf);

}  // namespace
}  // namespace qrx::test
