// Futures and options from the socket to the caller's array.
// A plus makes a value of a packed member, to which no reference may be bound.
#include <gtest/gtest.h>

#include <map>

#include "codec/codecs.h"
#include "futures/converters.h"
#include "support/fetch.h"

namespace qrx::test {
namespace {

using Body = ZPMDefine_Future_Night;

Body At(int nDate, int nTime, int nVolume = 0) {
    return {nDate, nTime, 0, nVolume, 10 * nVolume, 0, 0, 0, 0, 0, 0, 0};
}

// One answer packet's head: the end mark, the count, and 72, 73, 71 as day values.
std::string Head(int nItems, bool bLast = true) {
    const int words[5] = {bLast ? 1 : 0, nItems, 72, 73, 71};
    return Bytes(words);
}
std::string Packed(const std::vector<Body>& records, bool bLast = true) {
    std::string strBody = Head(static_cast<int>(records.size()), bLast);
    for (const Body& record : records) codec::EncodeRecord(record, strBody);
    return strBody;
}

// A session with a server that answers each day that is asked for, and keeps the days.
class Exchange {
public:
    using Answer = std::function<bool(Peer&, const Message&, int nDate)>;
    explicit Exchange(Answer answer, std::vector<TestMarket> markets = DefaultMarkets())
        : m_server(Serving(
              [this, answer = std::move(answer)](Peer& peer, const Message& request) {
                  int nDate;  // in front of the two time bounds
                  memcpy(&nDate, request.strBody.data() + request.strBody.size() - 12, 4);
                  days.push_back(nDate);
                  return answer(peer, request, nDate);
              },
              std::move(markets))),
          m_session(m_server.Port()) {}
    explicit Exchange(std::map<int, std::vector<Body>> served)
        : Exchange([served](Peer& peer, const Message& request, int nDate) mutable {
              return peer.Answer(request, 1049, Packed(served[nDate]));
          }) {}

    Fetched<QRXDefine_Future> Get(const char* szCode, int nBeginDate, int nEndDate = 0,
                                  int nBeginTime = 0, int nEndTime = 0, int nAutoComplete = 0) {
        auto request = RequestFor<QRXDefine_ReqFuture>(szCode, nBeginDate, nEndDate);
        request.nBeginTime = nBeginTime;
        request.nEndTime = nEndTime;
        request.nAutoComplete = nAutoComplete;
        return Fetch(&QRX_GetFuture, m_session.Get(), request);
    }
    void* Handle() const { return m_session.Get(); }

    std::vector<int> days;

private:
    ScriptedServer m_server;
    Session m_session;
};

TEST(FutureRequest, EveryFieldOfThePlainRecord) {
    Exchange exchange({{20170103, {{20170103, 90000000, 10, 5, 50, 11, -12, 21, 22, 23, 24, 25}}}});
    const auto [nResult, records] = exchange.Get("CU1701.shf", 20170103);
    ASSERT_EQ(records.size(), 1U) << nResult;
    // Settlement, position, auxiliary value, flag, totals, four values, three day values.
    const QRXDefine_Future expected{"CU1701.SHF", "cu1701", 20170103, 90000000, 5,  50, 24,
                                    11,           25,       -12,      5,        50, 21, 22,
                                    23,           10,       71,       72,       73};
    EXPECT_EQ(Bytes(records[0]), Bytes(expected));
}

TEST(FutureRequest, OptionWithLevels) {
    // The five-level record's scalars come rotated; the stream sends levels last, one by one.
    std::string strBody = Head(1);
    std::vector<int> values = {20170103, 93000000, 10, 5, 50, 11, 12, 22, 23, 21, 24, 25};
    for (int n = 100; n < 120; ++n) values.push_back(n);
    for (const int n : values) {
        char bytes[8];
        strBody.append(bytes, static_cast<size_t>(compressData(n, bytes)));
    }
    Exchange exchange([&](Peer& peer, const Message& request, int) {
        return peer.Answer(request, 1050, strBody);
    });
    const auto [nResult, records] =
        Fetch(&QRX_GetFutureAB, exchange.Handle(),
              RequestFor<QRXDefine_ReqFuture>("io1701-c-3500.cf", 20170103));
    ASSERT_EQ(records.size(), 1U) << nResult;
    QRXDefine_FutureAB expected{"IO1701-C-3500.CF",
                                "IO1701-C-3500",
                                20170103,
                                93000000,
                                5,
                                50,
                                24,
                                11,
                                25,
                                12,
                                5,
                                50,
                                21,
                                22,
                                23,
                                10,
                                {},
                                {},
                                {},
                                {},
                                71,
                                72,
                                73};
    for (int i = 0; i < 5; ++i) {
        expected.nBook1[i] = 100 + 4 * i;
        expected.nBook2[i] = 101 + 4 * i;
        expected.nBook3[i] = 102 + 4 * i;
        expected.nBook4[i] = 103 + 4 * i;
    }
    EXPECT_EQ(Bytes(records[0]), Bytes(expected));
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
    std::vector<int> times;
    for (const auto& record : exchange.Get("cu1701.SHF", 20170228, 20170302).records) {
        times.push_back(+record.nTime);
    }
    EXPECT_EQ(times, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(exchange.days,
              (std::vector<int>{20170228, 20170229, 20170230, 20170231, 20170301, 20170302}));
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170302, 20170305).nResult, -3);
}

// What has no call of this kind is refused before any traffic; all else has no data here.
TEST(FutureRequest, TypesAreRefused) {
    const struct {
        const char* szCode;
        int nType, nFuture, nTick;
    } kCases[] = {{"a", 0x6F, -10, -3},  {"b", 0x7E, -10, -3}, {"c", 0x70, -3, -10},
                  {"d", 0x7D, -3, -10},  {"e", 0x8F, -10, -3}, {"f", 0xA0, -10, -3},
                  {"g", 0x90, -3, -3},   {"h", 0x9F, -3, -3},  {"i", 0x170, -3, -10},
                  {"j", 0x17D, -3, -10}, {"k", 0x110, -10, -3}};
    std::vector<TestMarket> markets = {{"SHF", {}}};
    for (const auto& c : kCases) markets[0].vecCodes.push_back({c.szCode, c.nType});
    Exchange exchange(
        [](Peer& peer, const Message& request, int) {
            ZPMDefine_TickData_Head head{};
            head.nLastPacket = 1;
            return request.head.sDataType == 110 ? peer.Answer(request, 1048, Bytes(head))
                                                 : peer.Answer(request, 1049, Packed({}));
        },
        markets);
    size_t nAsked = 0;
    for (const auto& c : kCases) {
        const auto strCode = std::string(c.szCode) + ".SHF";
        const auto request = RequestFor<QRXDefine_ReqTick>(strCode.c_str(), 20170103);
        EXPECT_EQ(exchange.Get(strCode.c_str(), 20170103).nResult, c.nFuture) << strCode;
        EXPECT_EQ(Fetch(&QRX_GetTick, exchange.Handle(), request).nResult, c.nTick) << strCode;
        nAsked += (c.nFuture == -3) + (c.nTick == -3);
    }
    for (const char* szUnknown : {"x.SHF", "a.XXX"}) {
        EXPECT_EQ(exchange.Get(szUnknown, 20170103).nResult, -3) << szUnknown;
    }
    // A range that ends before it begins asks for nothing.
    EXPECT_EQ(exchange.Get("c.SHF", 20170103, 20170102).nResult, -3);
    EXPECT_EQ(exchange.days.size(), nAsked);
}

TEST(FutureRequest, FilterAndRunningTotals) {
    Exchange exchange({{20170103,
                        {At(20170102, 210000000, 1), At(20170103, 90000000, 2),
                         At(20170103, 100000000, 4), At(20170103, 110000000, 8)}},
                       {20170104, {At(20170104, 90000000, 16), At(20170104, 100000000, 32)}}});
    const struct {
        int nBeginTime, nEndTime;
        std::vector<int> volumes, totals;
    } kCases[] = {
        {0, 0, {1, 2, 4, 8, 16, 32}, {1, 3, 7, 15, 16, 48}},
        // Records that are dropped count; an earlier date is dropped only with a begin time.
        {100000000, 90000000, {4, 8, 16}, {7, 15, 16}},
        {0, 95959999, {1, 2, 4, 8, 16}, {1, 3, 7, 15, 16}},
        {-1, 0, {2, 4, 8, 16, 32}, {3, 7, 15, 16, 48}}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.nBeginTime << " to " << c.nEndTime);
        std::vector<int> volumes;
        std::vector<int> totals;
        const auto fetched =
            exchange.Get("cu1701.SHF", 20170103, 20170104, c.nBeginTime, c.nEndTime);
        for (const QRXDefine_Future& record : fetched.records) {
            volumes.push_back(static_cast<int>(record.iVolume));
            totals.push_back(static_cast<int>(record.iAccVolume));
            EXPECT_EQ(+record.iAccTurnover, 10 * record.iAccVolume);
        }
        EXPECT_EQ(volumes, c.volumes);
        EXPECT_EQ(totals, c.totals);
    }
    EXPECT_EQ(exchange.Get("cu1701.SHF", 20170103, 0, 230000000).nResult, -3);
}

// Totals go on from packet to packet; records that a stream does not hold are empty ones.
TEST(FutureRequest, PacketsOfOneDay) {
    Exchange exchange([](Peer& peer, const Message& request, int) {
        std::vector<Body> many;
        while (many.size() < 700) {
            many.push_back(At(20170103, 90000000 + static_cast<int>(many.size()), 1));
        }
        std::string strShort = Packed({At(20170103, 93000000, 1)});
        strShort[4] = 3;
        return peer.Answer(request, 1049, Packed(many, false)) &&
               peer.Answer(request, 1049, Packed({}, false)) &&
               peer.Answer(request, 1050, Packed(many)) &&  // not asked for: dropped
               peer.Answer(request, 1049, strShort);
    });
    const auto [nResult, records] = exchange.Get("cu1701.SHF", 20170103);
    ASSERT_EQ(records.size(), 703U) << nResult;
    EXPECT_EQ(+records[699].nTime, 90000699);
    EXPECT_EQ(+records[699].iAccVolume, 700);
    EXPECT_EQ(+records[700].iAccVolume, 701);
    EXPECT_EQ(+records[702].nTime, 0);
    EXPECT_EQ(+records[702].iAccVolume, 701);
    EXPECT_STREQ(records[702].chCode, "cu1701");
}

TEST(FutureRequest, ShortPacketStops) {
    EXPECT_DEATH(Exchange([](Peer& peer, const Message& request, int) {
                     return peer.Answer(request, 1049, std::string(19, '\1'));
                 }).Get("cu1701.SHF", 20170103),
                 "MarketDataSource:.*Assertion `vecPacketLen\\[i\\]>=sizeof\\(head\\)' failed");
}

TEST(FutureRequest, Completion) {
    Exchange exchange({{20170103,
                        {At(20170102, 210000000, 1), At(20170103, 85500000, 2),
                         At(20170103, 91200000, 4), At(20170103, 91500000, 8)}},
                       {20170104, {At(20170104, 85500000, 2), At(20170104, 91200000, 4)}}});
    // Codes in the case of their exchange: no contract of SHF or CF comes to the night grid. 08:55
    // is before the pre-open of CF.
    const struct {
        const char* szCode;
        size_t nSlots;
        int nVolume;
    } kCases[] = {{"AU1706.SHF", 28803, 14},
                  {"a1705.DCE", 28805, 14},
                  {"IF1701.CF", 32403, 12},
                  {"IO1701-C-3500.CF", 32403, 12}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szCode);
        const auto slots = exchange.Get(c.szCode, 20170103, 20170104, 0, 0, 1).records;
        ASSERT_EQ(slots.size(), 2 * c.nSlots);
        EXPECT_EQ(+slots[0].nDate, 20170103);
        EXPECT_EQ(+slots[c.nSlots].nDate, 20170104);
        int nVolume = 0;
        for (size_t i = 0; i < c.nSlots; ++i) nVolume += static_cast<int>(slots[i].iVolume);
        EXPECT_EQ(nVolume, c.nVolume);
    }
    EXPECT_EQ(exchange.Get("SR705.CZC", 20170103, 20170104, 0, 0, 1).records.size(), 6U);
}

}  // namespace
}  // namespace qrx::test
