// Futures and options from the socket to the caller's array.
// A plus makes a value of a packed member, to which no reference may be bound.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "codec/codecs.h"
#include "futures/converters.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

// One answer packet: the head's words are the end mark, the count, and 72, 73, 71 as day values.
template <class Body>
std::string FutureBody(const std::vector<Body>& records, bool bLast = true) {
    const int words[5] = {bLast ? 1 : 0, static_cast<int>(records.size()), 72, 73, 71};
    std::string strBody(reinterpret_cast<const char*>(words), sizeof words);
    for (const Body& record : records) codec::EncodeRecord(record, strBody);
    return strBody;
}

template <class Body = ZPMDefine_Future_Night>
Body At(int nDate, int nTime, int nVolume = 0) {
    Body body{};
    body.nDate = nDate;
    body.nTime = nTime;
    body.iVolume = nVolume;
    body.iTurnover = 10 * nVolume;
    return body;
}

// Serves snapshots by day, and keeps the requests.
class Exchange {
public:
    using Days = std::map<int, std::vector<ZPMDefine_Future_Night>>;
    explicit Exchange(Days days, unsigned nRetryCount = 0)
        : m_days(std::move(days)),
          m_server(Serving([this](Peer& peer, const Message& request) {
              const std::lock_guard<std::mutex> guard(m_mutex);
              m_requests.push_back(request);
              if (m_nCuts > 0 && m_nCuts-- > 0) return false;
              if (m_bSilent) return true;
              int nDate;
              const bool bOption = request.strBody.size() == 32;
              memcpy(&nDate, request.strBody.data() + (bOption ? 20 : 12), sizeof nDate);
              return peer.Answer(request, 1049, FutureBody(m_days[nDate]));
          })),
          m_session(m_server.Port(), 1, nRetryCount, 1) {}

    // The count, or the result code.
    int Get(const char* szCode, int nBeginDate, int nEndDate = 0, int nBeginTime = 0,
            int nEndTime = 0, int nAutoComplete = 0) {
        auto request = RequestFor<QRXDefine_ReqFuture>(szCode, nBeginDate, nEndDate);
        request.nBeginTime = nBeginTime;
        request.nEndTime = nEndTime;
        request.nAutoComplete = nAutoComplete;
        QRXDefine_Future* pData = nullptr;
        int nCount = -1;
        const int nResult = QRX_GetFuture(m_session.Get(), &request, &pData, &nCount);
        records.assign(pData, pData + nCount);
        EXPECT_EQ(nResult == 0, pData != nullptr);
        EXPECT_EQ(nResult == 0, nCount > 0);
        QRX_Free(pData);
        return nResult == 0 ? nCount : nResult;
    }
    std::vector<int> Times() const {
        std::vector<int> times;
        for (const QRXDefine_Future& record : records) times.push_back(+record.nTime);
        return times;
    }
    const std::vector<Message>& Requests() const { return m_requests; }
    int Connections() const { return m_server.Connections(); }
    void CutNext(int n) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_nCuts = n;
    }
    void BeSilent() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_bSilent = true;
    }

    std::vector<QRXDefine_Future> records;

private:
    Days m_days;
    std::mutex m_mutex;
    int m_nCuts = 0;
    bool m_bSilent = false;
    std::vector<Message> m_requests;
    ScriptedServer m_server;
    Session m_session;
};

TEST(FutureRequest, EveryFieldOfThePlainRecord) {
    ZPMDefine_Future_Night body = At(20170103, 90000000, 5);
    body.nValue0 = 10;
    body.nPosition = 11;
    body.chFlag = -12;
    body.nValue1 = 21;
    body.nValue2 = 22;
    body.nValue3 = 23;
    body.nSettle = 24;
    body.nAuxValue = 25;
    Exchange exchange({{20170103, {body}}});
    ASSERT_EQ(exchange.Get("CU1701.shf", 20170103), 1);
    QRXDefine_Future expected{};
    memcpy(expected.chVelaCode, "CU1701.SHF", 10);
    memcpy(expected.chCode, "cu1701", 6);
    expected.nDate = 20170103;
    expected.nTime = 90000000;
    expected.iVolume = expected.iAccVolume = 5;
    expected.iTurnover = expected.iAccTurnover = 50;
    expected.nSettle = 24;
    expected.nPosition = 11;
    expected.nAuxValue = 25;
    expected.chFlag = -12;
    expected.nValue1 = 21;
    expected.nValue2 = 22;
    expected.nValue3 = 23;
    expected.nValue0 = 10;
    expected.nDayRef1 = 71;
    expected.nDayRef2 = 72;
    expected.nDayRef3 = 73;
    EXPECT_EQ(memcmp(exchange.records.data(), &expected, sizeof expected), 0);
    // Code, market, day, 0, -1.
    ASSERT_EQ(exchange.Requests().size(), 1U);
    EXPECT_EQ(exchange.Requests()[0].head.sDataType, 112);
    EXPECT_EQ(exchange.Requests()[0].strBody,
              std::string("cu1701\0\0SHF\0\x77\xc5\x33\x01\0\0\0\0\xff\xff\xff\xff", 24));
}

TEST(FutureRequest, OptionWithLevels) {
    // The five-level record's scalars come rotated; the stream sends levels last, one by one.
    std::string strBody("\1\0\0\0\1\0\0\0\x48\0\0\0\x49\0\0\0\x47\0\0\0", 20);
    for (int n : {20170103, 93000000, 10, 5, 50, 11, 12, 22, 23, 21, 24, 25}) {
        char bytes[8];
        strBody.append(bytes, static_cast<size_t>(compressData(n, bytes)));
    }
    for (int n = 100; n < 120; ++n) {
        char bytes[8];
        strBody.append(bytes, static_cast<size_t>(compressData(n, bytes)));
    }
    Message asked;
    ScriptedServer server(Serving([&](Peer& peer, const Message& request) {
        asked = request;
        return peer.Answer(request, 1050, strBody);
    }));
    Session session(server.Port());
    const auto request = RequestFor<QRXDefine_ReqFuture>("io1701-c-3500.cf", 20170103);
    QRXDefine_FutureAB* pData = nullptr;
    int nCount = 0;
    ASSERT_EQ(QRX_GetFutureAB(session.Get(), &request, &pData, &nCount), 0);
    ASSERT_EQ(nCount, 1);
    EXPECT_STREQ(pData->chVelaCode, "IO1701-C-3500.CF");
    EXPECT_STREQ(pData->chCode, "IO1701-C-3500");
    EXPECT_EQ(+pData->nValue1, 21);
    EXPECT_EQ(+pData->nValue2, 22);
    EXPECT_EQ(+pData->nValue3, 23);
    EXPECT_EQ(+pData->nSettle, 24);
    EXPECT_EQ(+pData->nAuxValue, 25);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(+pData->nBook1[i], 100 + 4 * i);
        EXPECT_EQ(+pData->nBook2[i], 101 + 4 * i);
        EXPECT_EQ(+pData->nBook3[i], 102 + 4 * i);
        EXPECT_EQ(+pData->nBook4[i], 103 + 4 * i);
    }
    EXPECT_EQ(+pData->nDayRef1, 71);
    QRX_Free(pData);
    EXPECT_EQ(asked.head.sDataType, 115);
    EXPECT_EQ(asked.strBody,
              std::string("IO1701-C-3500\0\0\0CF\0\0\x77\xc5\x33\x01\0\0\0\0\xff\xff\xff\xff", 32));
}

TEST(FutureRequest, CodesAreCut) {
    const auto request = RequestFor<QRXDefine_ReqFuture>("ABCDEFGHIJKLMNOPQRST.dcexy", 7);
    ZPMDefine_RequestFuture future;
    BusinessConvertor::T2HReqFuture(request, future);
    EXPECT_EQ(Bytes(future).substr(0, 12), "ABCDEFGHDCEX");  // no market of a known case
    ZPMDefine_RequestOption option;
    BusinessConvertor::T2HReqOption(request, option);
    EXPECT_EQ(Bytes(option).substr(0, 20), "ABCDEFGHIJKLMNOPDCEX");
}

TEST(FutureRequest, DaysAreWalkedAndJoined) {
    Exchange exchange(
        {{20170228, {At(20170228, 1), At(20170228, 2)}}, {20170301, {At(20170301, 3)}}});
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170228, 20170302), 3);
    EXPECT_EQ(exchange.Times(), (std::vector<int>{1, 2, 3}));
    std::vector<int> asked;
    for (const Message& request : exchange.Requests()) {
        int nDate;
        memcpy(&nDate, request.strBody.data() + 12, sizeof nDate);
        asked.push_back(nDate);
    }
    EXPECT_EQ(asked,
              (std::vector<int>{20170228, 20170229, 20170230, 20170231, 20170301, 20170302}));
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170302, 20170305), -3);
}

TEST(FutureRequest, RefusedBeforeAnyTraffic) {
    std::vector<TestMarket> markets = {{"SHF",
                                        {{"a", 0x6F},
                                         {"b", 0x7E},
                                         {"c", 0x70},
                                         {"d", 0x7D},
                                         {"e", 0x8F},
                                         {"f", 0xA0},
                                         {"g", 0x90},
                                         {"h", 0x9F},
                                         {"i", 0x170},
                                         {"j", 0x110}}}};
    int nAsked = 0;
    ScriptedServer server(Serving(
        [&](Peer& peer, const Message& request) {
            ++nAsked;
            return peer.Answer(request, 1049, FutureBody<ZPMDefine_Future_Night>({}));
        },
        markets));
    Session session(server.Port());
    struct {
        const char* szCode;
        int nResult;
    } const kCases[] = {{"a.SHF", -10}, {"b.SHF", -10}, {"e.SHF", -10}, {"f.SHF", -10},
                        {"j.SHF", -10}, {"x.SHF", -3},  {"a.XXX", -3},  {"c.SHF", -3},
                        {"d.SHF", -3},  {"g.SHF", -3},  {"h.SHF", -3},  {"i.SHF", -3}};
    for (const auto& c : kCases) {
        const auto request = RequestFor<QRXDefine_ReqFuture>(c.szCode, 20170103);
        QRXDefine_Future* pData = nullptr;
        int nCount = 7;
        EXPECT_EQ(QRX_GetFuture(session.Get(), &request, &pData, &nCount), c.nResult) << c.szCode;
        EXPECT_EQ(nCount, 0);
    }
    EXPECT_EQ(nAsked, 5);
    // A range that ends before it begins asks for nothing.
    const auto request = RequestFor<QRXDefine_ReqFuture>("c.SHF", 20170103, 20170102);
    QRXDefine_Future* pData = nullptr;
    int nCount = 0;
    EXPECT_EQ(QRX_GetFuture(session.Get(), &request, &pData, &nCount), -3);
    EXPECT_EQ(nAsked, 5);
}

TEST(FutureRequest, FilterAndRunningTotals) {
    Exchange exchange({{20170103,
                        {At(20170102, 210000000, 1), At(20170103, 90000000, 2),
                         At(20170103, 100000000, 4), At(20170103, 110000000, 8)}},
                       {20170104, {At(20170104, 90000000, 16), At(20170104, 100000000, 32)}}});
    struct {
        int nBeginTime, nEndTime;
        std::vector<int> volumes, totals;
    } const kCases[] = {
        {0, 0, {1, 2, 4, 8, 16, 32}, {1, 3, 7, 15, 16, 48}},
        // Records that are dropped count; an earlier date is dropped only with a begin time.
        {100000000, 90000000, {4, 8, 16}, {7, 15, 16}},
        {0, 95959999, {1, 2, 4, 8, 16}, {1, 3, 7, 15, 16}},
        {-1, 0, {2, 4, 8, 16, 32}, {3, 7, 15, 16, 48}},
    };
    for (const auto& c : kCases) {
        exchange.Get("cu1701.SHF", 20170103, 20170104, c.nBeginTime, c.nEndTime);
        std::vector<int> volumes;
        std::vector<int> totals;
        for (const QRXDefine_Future& record : exchange.records) {
            volumes.push_back(static_cast<int>(record.iVolume));
            totals.push_back(static_cast<int>(record.iAccVolume));
            EXPECT_EQ(+record.iAccTurnover, 10 * record.iAccVolume);
        }
        EXPECT_EQ(volumes, c.volumes);
        EXPECT_EQ(totals, c.totals);
    }
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103, 0, 230000000), -3);
}

// Totals go on from packet to packet; records that a stream does not hold are empty ones.
TEST(FutureRequest, PacketsOfOneDay) {
    ScriptedServer server(Serving([&](Peer& peer, const Message& request) {
        std::vector<ZPMDefine_Future_Night> many(700, At(20170103, 90000000, 1));
        std::string strShort = FutureBody<ZPMDefine_Future_Night>({At(20170103, 93000000, 1)});
        strShort[4] = 3;
        return peer.Answer(request, 1049, FutureBody(many, false)) &&
               peer.Answer(request, 1049, FutureBody<ZPMDefine_Future_Night>({}, false)) &&
               peer.Answer(request, 1050, FutureBody(many)) &&  // not asked for: dropped
               peer.Answer(request, 1049, strShort);
    }));
    Session session(server.Port());
    const auto request = RequestFor<QRXDefine_ReqFuture>("cu1701.SHF", 20170103);
    QRXDefine_Future* pData = nullptr;
    int nCount = 0;
    ASSERT_EQ(QRX_GetFuture(session.Get(), &request, &pData, &nCount), 0);
    ASSERT_EQ(nCount, 703);
    EXPECT_EQ(+pData[699].iAccVolume, 700);
    EXPECT_EQ(+pData[700].iAccVolume, 701);
    EXPECT_EQ(+pData[702].nTime, 0);
    EXPECT_EQ(+pData[702].iAccVolume, 701);
    EXPECT_STREQ(pData[702].chCode, "cu1701");
    QRX_Free(pData);
}

TEST(FutureRequest, FailuresOfADay) {
    Exchange exchange({{20170103, {At(20170103, 1)}}, {20170104, {At(20170104, 2)}}}, 1);
    exchange.CutNext(1);
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103, 20170104), 2);  // the second attempt
    EXPECT_EQ(exchange.Connections(), 2);
    exchange.BeSilent();
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103), -2);
    exchange.CutNext(2);
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103), -1);
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103), -1);  // no session any more
    EXPECT_EQ(exchange.Connections(), 3);
}

TEST(FutureRequest, ShortPacketStops) {
    EXPECT_DEATH(
        {
            ScriptedServer server(Serving([](Peer& peer, const Message& request) {
                return peer.Answer(request, 1049, std::string(19, '\1'));
            }));
            Session session(server.Port());
            const auto request = RequestFor<QRXDefine_ReqFuture>("cu1701.SHF", 20170103);
            QRXDefine_Future* pData = nullptr;
            int nCount = 0;
            QRX_GetFuture(session.Get(), &request, &pData, &nCount);
        },
        "MarketDataSource:.*Assertion `vecPacketLen\\[i\\]>=sizeof\\(head\\)' failed");
}

TEST(FutureRequest, Completion) {
    const Exchange::Days days = {
        {20170103,
         {At(20170102, 210000000, 1), At(20170103, 85500000, 2), At(20170103, 91200000, 4),
          At(20170103, 91500000, 8)}},
        {20170104, {At(20170104, 85500000, 2), At(20170104, 91200000, 4)}}};
    // Codes in the case of their exchange: no contract of SHF or CF comes to the night grid.
    struct {
        const char* szCode;
        int nSlots;
    } const kCases[] = {{"AU1706.SHF", 28803},
                        {"a1705.DCE", 28805},
                        {"IF1701.CF", 32403},
                        {"IO1701-C-3500.CF", 32403}};
    Exchange exchange(days);
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szCode);
        ASSERT_EQ(exchange.Get(c.szCode, 20170103, 20170104, 0, 0, 1), 2 * c.nSlots);
        const auto& slots = exchange.records;
        EXPECT_EQ(+slots[0].nDate, 20170103);
        const size_t nSecond = static_cast<size_t>(c.nSlots);
        EXPECT_EQ(+slots[nSecond].nDate, 20170104);
        int nVolume = 0;
        for (size_t i = 0; i < nSecond; ++i) nVolume += static_cast<int>(slots[i].iVolume);
        EXPECT_EQ(nVolume, c.nSlots == 32403 ? 12 : 14);  // CF: 08:55 is before its pre-open
    }
    EXPECT_EQ(exchange.Get("SR705.CZC", 20170103, 20170104, 0, 0, 1), 6);
}

}  // namespace
}  // namespace qrx::test
