// What every data request must stand, written once and run over all kinds: an answer in bytes, cut
// at every byte, empty, of several packets and days, late, too long for the time-out, closed.
#include <gtest/gtest.h>

#include <thread>

#include "codec/codecs.h"
#include "support/deadline.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

// A kind of request: how to call it, and how its server answers n records.
struct Kind {
    const char* szName;
    const char* szCode;
    size_t nRecordSize;
    int nRequestType, nAnswerType;
    size_t nDateAt;  // of the day in the request body
    std::function<int(void*, int, int, std::vector<std::string>&)> call;
    std::function<std::string(int nDate, int nItems, bool bLast)> body;
};

template <class Request, class Record>
auto Call(int (*pfn)(void*, const Request*, Record**, int*), const char* szCode) {
    return [=](void* h, int nBegin, int nEnd, std::vector<std::string>& records) {
        auto request = RequestFor<Request>(szCode, nBegin, nEnd);
        Record* pData = nullptr;
        int nCount = 0;
        const int nResult = pfn(h, &request, &pData, &nCount);
        EXPECT_EQ(pData != nullptr, nResult == 0);
        EXPECT_EQ(nCount != 0, nResult == 0);
        records.clear();
        for (int i = 0; i < nCount; ++i) records.push_back(Bytes(pData[i]));
        QRX_Free(pData);
        return nResult;
    };
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
    static const std::vector<Kind> kKinds = {
        {"tick", "600000.SH", 154, 110, 1048, 16, Call(&QRX_GetTick, "600000.SH"),
         AnswerOf<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night>(true)},
        {"tick with levels", "600000.SH", 338, 110, 1048, 16, Call(&QRX_GetTickAB, "600000.SH"),
         AnswerOf<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night>(true)},
        {"transaction", "600000.SH", 95, 111, 1038, 16, Call(&QRX_GetTransaction, "600000.SH"),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_Transaction_v2>(false)},
        {"order", "cu1701.SHF", 90, 111, 1039, 16, Call(&QRX_GetOrder, "cu1701.SHF"),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_Order_v2>(false)},
        {"future", "cu1701.SHF", 145, 112, 1049, 12, Call(&QRX_GetFuture, "cu1701.SHF"),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_Night>(true)},
        {"option with levels", "IO1701-C-3500.CF", 225, 115, 1050, 20,
         Call(&QRX_GetFutureAB, "IO1701-C-3500.CF"),
         AnswerOf<ZPMDefine_Future_Head, ZPMDefine_Future_AB_Night>(true)},
        {"order queue", "600000.SH", 288, 111, 1037, 16, Call(&QRX_GetOrderQueue, "600000.SH"),
         AnswerOf<ZPMDefine_SaveData_Head, ZPMDefine_OrderQueue>(false)},
        // The last: not a day a request.
        {"bar", "600000.SH", 112, 101, 1010, 36, Call(&QRX_GetKLine, "600000.SH"),
         AnswerOf<ZPMDefine_KData_Head, ZPMDefine_KData>(true)},
    };
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
    static int DateOf(const Message& r, size_t nAt) {
        int nDate;
        memcpy(&nDate, r.strBody.data() + nAt, 4);
        return nDate;
    }
    std::vector<std::string> m_records;
};

class CutBattery : public Battery {};

TEST_P(Battery, DaysPacketsAndSingleBytes) {
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        EXPECT_EQ(r.head.sDataType, kind().nRequestType);
        const int nDate = DateOf(r, kind().nDateAt);
        if (nDate == 20240106)
            return peer.Answer(r, kind().nAnswerType, kind().body(nDate, 0, true));
        return peer.SendInPieces(Whole(r.head.nRequestID, nDate), nDate == 20240107 ? 1 : 100);
    }));
    Session session(server.Port());
    ASSERT_EQ(kind().call(session.Get(), 20240105, 20240107, m_records), 0);
    ASSERT_EQ(m_records.size(), 10U);
    for (size_t i = 0; i < 10; ++i) {
        ASSERT_EQ(m_records[i].size(), kind().nRecordSize);
        int nDate;
        memcpy(&nDate, m_records[i].data() + 64, 4);
        EXPECT_EQ(nDate, i < 5 ? 20240105 : 20240107);
    }
    EXPECT_EQ(kind().call(session.Get(), 20240106, 20240106, m_records), -3);
}

// The connection is cut after every byte of the answer: without a retry that is -1, with one the
// answer comes whole.
TEST_P(CutBattery, AtEveryByte) {
    const size_t nWhole = Whole(1, 20240105).size();
    constexpr size_t kThreads = 48;
    std::atomic<size_t> nNext{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (size_t nCut = nNext++; nCut < nWhole; nCut = nNext++) {
                ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
                    const std::string strAll = Whole(r.head.nRequestID, 20240105);
                    peer.Send(strAll.substr(0, peer.Index() < 2 ? nCut : strAll.size()));
                    return peer.Index() >= 2;
                }));
                Session session(server.Port(), 20, 0, 1);
                std::vector<std::string> records;
                ASSERT_EQ(kind().call(session.Get(), 20240105, 20240105, records), -1) << nCut;
                if (nCut % 8 != 0) continue;  // the pause before a reconnect is a second
                Session retrying(server.Port(), 20, 1, 1);
                ASSERT_EQ(kind().call(retrying.Get(), 20240105, 20240105, records), 0) << nCut;
                ASSERT_EQ(records.size(), 5U);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_P(Battery, AFailingDayDiscardsTheEarlierOnes) {
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        const int nDate = DateOf(r, kind().nDateAt);
        return nDate != 20240105 || peer.Send(Whole(r.head.nRequestID, nDate));
    }));
    Session session(server.Port(), 1);
    EXPECT_EQ(kind().call(session.Get(), 20240105, 20240107, m_records), -2);
    EXPECT_EQ(kind().call(session.Get(), 20240105, 20240105, m_records), 0);  // still open, in step
}

TEST_P(Battery, TodayAndUnknown) {
    std::vector<int> days;
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        days.push_back(DateOf(r, kind().nDateAt));
        return peer.Answer(r, kind().nAnswerType, kind().body(1, 0, true));
    }));
    Session session(server.Port());
    EXPECT_EQ(kind().call(session.Get(), 0, 0, m_records), -3);
    ASSERT_EQ(days.size(), 1U);
    EXPECT_GT(days[0], 20240000);
}

std::string NameOf(const testing::TestParamInfo<size_t>& kindInfo) {
    std::string strName = Kinds()[kindInfo.param].szName;
    std::replace(strName.begin(), strName.end(), ' ', '_');
    return strName;
}
INSTANTIATE_TEST_SUITE_P(Kinds, Battery, testing::Range<size_t>(0, Kinds().size() - 1), NameOf);
INSTANTIATE_TEST_SUITE_P(Kinds, CutBattery, testing::Range<size_t>(0, Kinds().size()), NameOf);

}  // namespace
}  // namespace qrx::test
