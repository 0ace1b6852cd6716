// Requests of bars, byte by byte, and whole calls through a scripted server.
#include <gtest/gtest.h>

#include <mutex>

#include "kline/converters.h"
#include "session/data_source.h"
#include "support/answers.h"
#include "support/fetch.h"
#include "ticks/pipeline.h"

namespace qrx::test {
namespace {

QRXDefine_ReqKLine BarRequest(const char* szCode, int nCycType, int nCycDef, int nBeginDate,
                              int nEndDate, int nAutoComplete = 0) {
    auto request = RequestFor<QRXDefine_ReqKLine>(szCode, nBeginDate, nEndDate);
    request.nCycType = nCycType;
    request.nCycDef = nCycDef;
    request.nAutoComplete = nAutoComplete;
    return request;
}

// clang-format off
TEST(KLineRequest, FieldsAsSent) {
    struct Sent { int nModeFlag, nModeDate, nModeSwitch, nCycType, nCycDef, nFlags, nBegin, nEnd; };
    struct Case { Sent asked; Sent sent; };  // nFlags of what is asked: nAutoComplete
    const int d = 20140102;
    for (const Case& c : {
             Case{{1, d, 7, 1, 5, 1, d, d + 1}, {1, d, 1, 0, 5, 2, d, d + 1}},
             {{2, 0, 0, 0, 0, 9, -5, 0}, {2, 0, 0, 11, 1, 2, -1, -1}},
             {{3, -1, -1, 9, -3, 1, d, -1}, {0, 0, 1, 11, 1, 2, d, -1}},
             {{0, 1, 0, -1, 500, 0, d, d}, {0, 1, 0, 11, 500, 0, d, d}},
             {{0, 0, 0, 2, 1, 1, d, d}, {0, 0, 0, 7, 1, 0, d, d}},
             {{0, 0, 0, 3, 1, 1, d, d}, {0, 0, 0, 8, 1, 0, d, d}},
             {{0, 0, 0, 4, 1, 1, d, d}, {0, 0, 0, 9, 1, 0, d, d}},
             {{0, 0, 0, 5, 1, 1, d, d}, {0, 0, 0, 4, 1, 0, d, d}},
             {{0, 0, 0, 6, 1, 1, d, d}, {0, 0, 0, 5, 1, 0, d, d}},
             {{0, 0, 0, 7, 1, 1, d, d}, {0, 0, 0, 6, 1, 0, d, d}}}) {
        const Sent& in = c.asked;
        auto request = BarRequest("600000.sh", in.nCycType, in.nCycDef, in.nBegin, in.nEnd,
                                  in.nFlags);
        request.nModeFlag = in.nModeFlag;
        request.nModeDate = in.nModeDate;
        request.nModeSwitch = in.nModeSwitch;
        const auto check = [&](auto out) {
            BusinessConvertor::T2HReqK(&request, &out, 0, -1);
            const Sent sent{out.nModeFlag, out.nModeDate, out.nModeSwitch, out.nCycType,
                            out.nCycDef, out.nFlags, out.nBeginDate, out.nEndDate};
            EXPECT_EQ(Bytes(sent), Bytes(c.sent)) << in.nCycType;
            EXPECT_STREQ(out.chMarket, "SH");
        };
        check(ZPMDefine_RequestKData{});
        check(ZPMDefine_RequestKData_Option{});
        const bool bCycle = in.nCycType >= 0 && in.nCycType <= 7;
        EXPECT_EQ(BusinessConvertor::T2HCycType(in.nCycType), bCycle ? c.sent.nCycType : 0);
    }
    ZPMDefine_RequestKData untouched{};
    BusinessConvertor::T2HReqK(nullptr, &untouched, 0, -1);
    BusinessConvertor::T2HReqK(nullptr, static_cast<ZPMDefine_RequestKData_Option*>(nullptr), 0, 0);
    EXPECT_EQ(Bytes(untouched), std::string(72, '\0'));
}

// clang-format on

std::vector<int64_t> Fields(const QRXDefine_KLine& k) {
    return {k.nDate,  k.nTime,   k.nOpen,     k.nHigh,       k.nLow,
            k.nClose, k.iVolume, k.iTurnover, k.nMatchItems, k.nInterest};
}

// -- Whole calls ---------------------------------------------------------------------------------

ZPMDefine_KData Raw(int nDate, int nTime, int nClose) {
    return {nDate, nTime, nClose - 1, nClose + 5, nClose - 5, nClose, nClose * 7, nClose, 3, 9};
}

std::string Bars(const char* szCode, const char* szMarket,
                 const std::vector<ZPMDefine_KData>& bars) {
    return AnswerBody(HeadFor<ZPMDefine_KData_Head>(szCode, szMarket), bars);
}

// A server that answers requests of bars from a list in turn and keeps what it was asked, and its
// session. An empty answer cuts the connection.
class BarServer {
public:
    struct Reply {
        int nType;
        std::string strBody;
    };
    explicit BarServer(std::vector<Reply> replies,
                       std::vector<TestMarket> vecMarkets = DefaultMarkets(),
                       unsigned nRetryCount = 0)
        : m_server(Serving(
              [this, replies = std::move(replies)](Peer& peer, const Message& request) {
                  const std::lock_guard<std::mutex> guard(m_mutex);  // a thread a connection
                  asked.push_back(request);
                  const Reply& reply = replies.at(asked.size() - 1);
                  return !reply.strBody.empty() && peer.Answer(request, reply.nType, reply.strBody);
              },
              std::move(vecMarkets))),
          m_session(m_server.Port(), 5, nRetryCount, 0) {}
    Fetched<QRXDefine_KLine> Get(const QRXDefine_ReqKLine& request) const {
        return Fetch(&QRX_GetKLine, m_session.Get(), request);
    }

    std::vector<Message> asked;  // to be looked at between requests

private:
    std::mutex m_mutex;
    ScriptedServer m_server;
    Session m_session;
};

// Cycle, multiple and dates among the numbers of a request.
std::vector<int> Numbers(int nCycle, int nCycDef, int nBegin, int nEnd) {
    return {0, 0, 0, 0, nCycle, nCycDef, nBegin, nEnd, 0, 0, 0, 0, 0, 0, 0};
}

TEST(KLineRequest, PlainBarsComeAsTheyAre) {
    BarServer server(
        {{1010, Bars("600000", "SH", {Raw(20140102, 93000, 100), Raw(20140103, 94500, 200)})},
         {1010, Bars("600000", "SH", {Raw(20140131, 0, 300)})}});
    const auto plain = server.Get(BarRequest("600000.sh", 1, 5, 20140102, 20140103)).records;
    ASSERT_EQ(plain.size(), 2U);
    EXPECT_STREQ(plain[1].chVelaCode, "600000.SH");
    EXPECT_STREQ(plain[1].chCode, "600000");
    EXPECT_EQ(Fields(plain[1]),
              std::vector<int64_t>({20140103, 94500000, 199, 205, 195, 200, 1400, 200, 3, 9}));
    // Longer cycles are never laid onto a grid. Without an end the first day is the last.
    const auto month = server.Get(BarRequest("600000.SH", CYC_MONTH, 1, 20140131, 0, 1)).records;
    ASSERT_EQ(month.size(), 1U);
    EXPECT_EQ(month[0].nClose, 300);
    // An unknown code is not asked for.
    EXPECT_EQ(server.Get(BarRequest("600001.SH", 1, 1, 20140102, 20140103)).nResult, -3);
    ASSERT_EQ(server.asked.size(), 2U);
    EXPECT_EQ(server.asked[0].head.sDataType, 101);
    EXPECT_EQ(server.asked[0].strBody, Sent("600000", 8, "SH", Numbers(0, 5, 20140102, 20140103)));
    EXPECT_EQ(server.asked[1].strBody, Sent("600000", 8, "SH", Numbers(9, 1, 20140131, 20140131)));
}

TEST(KLineRequest, CompletedWithAndWithoutAPreviousClose) {
    const auto minutes = [](int nTime) {
        return BarServer::Reply{1010, Bars("600000", "SH", {Raw(20140116, nTime, 100)})};
    };
    const BarServer::Reply none{1010, Bars("600000", "SH", {})};
    const BarServer::Reply two{1010,
                               Bars("600000", "SH", {Raw(20140110, 0, 50), Raw(20140115, 0, 60)})};
    const BarServer::Reply first{1010, Bars("600000", "SH", {Raw(20140101, 0, 50)})};
    BarServer server(
        {minutes(93500), two, minutes(93500), none, minutes(93500), first, minutes(93000)});
    const struct {
        int nBeginTime, nFirstHigh, nFirstVolume;
    } kCases[] = {{0, 60, 0},
                  {0, 0, 0},
                  // The begin time goes with the previous-close request: the one daily bar, on the
                  // first of its days at time 0, lies before it. The grid starts at the opening.
                  {93200000, 0, 0},
                  {0, 105, 700}};  // a bar at the opening needs no previous close
    auto request = BarRequest("600000.SH", 1, 5, 20140116, 20140116, 1);
    for (const auto& c : kCases) {
        SCOPED_TRACE(server.asked.size());
        request.nBeginTime = c.nBeginTime;
        const auto bars = server.Get(request).records;
        ASSERT_EQ(bars.size(), 48U);
        EXPECT_STREQ(bars[0].chVelaCode, "600000.SH");
        EXPECT_EQ(bars[0].nTime, 93000000);
        EXPECT_EQ(bars[0].nHigh, c.nFirstHigh);
        EXPECT_EQ(bars[0].iVolume, c.nFirstVolume);
        EXPECT_EQ(bars[1].nHigh, c.nFirstVolume == 0 ? 105 : 100);
        EXPECT_EQ(bars[47].nTime, 145500000);
        EXPECT_EQ(bars[47].nHigh, 100);
    }
    ASSERT_EQ(server.asked.size(), 7U);
    // Never completed by the server; single daily bars of 20140101 to 20140115.
    EXPECT_EQ(server.asked[0].strBody, Sent("600000", 8, "SH", Numbers(0, 5, 20140116, 20140116)));
    EXPECT_EQ(server.asked[1].strBody, Sent("600000", 8, "SH", Numbers(7, 1, 20140101, 20140115)));
}

TEST(KLineRequest, OptionsAndIndexes) {
    const ZPMDefine_KData_Index index{20140116, 93000, 1, 2, 3, 4, 5, 6, 7, {8, 9, 10, 11}};
    // An index among options: its packet is counted by the option's head (4 records at 52), read by
    // the ordinary one (1 record at 40) and decoded from there on: 1, 0, 0, 0, 2, 3, 1, 2, 3.
    std::string strOdd(64, '\0');
    memcpy(strOdd.data(), "IO1701IX", 8);
    memcpy(strOdd.data() + 8, "CF", 2);
    strOdd[40] = 1;
    memcpy(strOdd.data() + 52, "\x04\0\0\0\x08\x0c\x04\x08\x0c", 9);
    BarServer server(
        {{1012, AnswerBody(HeadFor<ZPMDefine_KData_Option_Head>("IO1701-C-3500", "CF"),
                           std::vector{Raw(20140116, 91600, 100)})},
         {1010, Bars("IO1701-C", "CF", {Raw(20140115, 0, 60)})},
         {1011, AnswerBody(HeadFor<ZPMDefine_KData_Head>("000001", "SH"), std::vector{index})},
         {1012, strOdd}},
        {{"SH", {{"000001", 1}}}, {"CF", {{"IO1701-C-3500", 0x91}, {"IO1701-INDEX", -112}}}});
    const auto option =
        server.Get(BarRequest("IO1701-C-3500.CF", 1, 1, 20140116, 20140116, 1)).records;
    ASSERT_EQ(option.size(), 270U);
    EXPECT_STREQ(option[0].chVelaCode, "IO1701-C-3500.CF");
    EXPECT_STREQ(option[0].chCode, "IO1701-C-3500");
    EXPECT_EQ(option[0].nTime, 91500000);
    EXPECT_EQ(option[0].nOpen, 60);
    EXPECT_EQ(option[1].nOpen, 99);
    const auto plain = server.Get(BarRequest("000001.SH", 1, 1, 20140116, 20140116)).records;
    ASSERT_EQ(plain.size(), 1U);
    EXPECT_EQ(Fields(plain[0]), std::vector<int64_t>({20140116, 93000000, 1, 2, 3, 4, 5, 6, 7, 0}));
    const auto odd = server.Get(BarRequest("IO1701-INDEX.CF", 2, 1, 20140116, 20140116)).records;
    ASSERT_EQ(odd.size(), 1U);
    EXPECT_STREQ(odd[0].chVelaCode, "IO1701IX.CF");
    EXPECT_EQ(Fields(odd[0]), std::vector<int64_t>({1, 0, 0, 0, 2, 3, 1, 2, 3, 0}));

    EXPECT_EQ(server.asked[0].head.sDataType, 117);
    EXPECT_EQ(server.asked[0].strBody,
              Sent("IO1701-C-3500", 16, "CF",
                   {0, 0, 0, 0, 0, 0, 1, 20140116, 20140116, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(server.asked[1].head.sDataType, 101);
    EXPECT_EQ(server.asked[1].strBody.substr(0, 12), std::string("IO1701-CCF\0\0", 12));
}

// The close before the first kept bar, or its own where it stands at the begin time.
TEST(KLineRequest, DecodingKnowsThePreviousClose) {
    constexpr int d = 20140116;
    std::string bodies[] = {Bars("600000", "SH", {Raw(d, 93000, 100), Raw(d, 93100, 200)}),
                            Bars("600000", "SH", {Raw(d, 93200, 300)})};
    const std::vector<int> lengths = {static_cast<int>(bodies[0].size()),
                                      static_cast<int>(bodies[1].size())};
    for (std::string& strBody : bodies) strBody.append(16, '\0');
    const int kCases[][2] = {{0, 100},        {93000000, 100}, {93050000, 100},
                             {93100000, 200}, {93150000, 200}, {93200000, 300}};
    for (const auto& [nBeginTime, nClose] : kCases) {
        MarketDataSource source;
        QRXDefine_KLine bars[3];
        int nPrevious = 77;
        source.DecompressRawVec<ZPMDefine_KData_Head>(
            bars, 3, {bodies[0].data(), bodies[1].data()}, lengths, &decompress_KData,
            &BusinessConvertor::HKData2T, ID_ZPMTELE_DAYKDATA, d, d, nBeginTime, 0, &nPrevious);
        EXPECT_EQ(nPrevious, nClose) << nBeginTime;
    }
}

// A cut in the request or in its previous-close request is one failed attempt of the whole.
TEST(KLineRequest, RetriesAfterACut) {
    const BarServer::Reply cut{0, ""};
    const BarServer::Reply minutes{1010, Bars("600000", "SH", {Raw(20140116, 93100, 100)})};
    const BarServer::Reply daily{1010, Bars("600000", "SH", {Raw(20140115, 0, 60)})};
    BarServer server({cut, minutes, cut, minutes, daily}, DefaultMarkets(), 2);
    const auto [nResult, bars] = server.Get(BarRequest("600000.SH", 1, 1, 20140116, 20140116, 1));
    ASSERT_EQ(nResult, QRX_OK);
    EXPECT_EQ(bars[0].nClose, 60);
    EXPECT_EQ(server.asked.size(), 5U);
}

TEST(KLineRequestDeathTest, MarketWithoutGrid) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(BarServer({{1010, Bars("00700", "HK", {Raw(20140116, 93000, 100)})}},
                           {{"HK", {{"00700", 16}}}})
                     .Get(BarRequest("00700.HK", 1, 1, 20140116, 20140116, 1)),
                 "MarketDataSource:[0-9]+: .*Assertion `0' failed");
}

}  // namespace
}  // namespace qrx::test
