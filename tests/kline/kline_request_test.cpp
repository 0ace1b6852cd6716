// Requests of bars, byte by byte, and whole calls through a scripted server.
#include <gtest/gtest.h>

#include "codec/codecs.h"
#include "kline/converters.h"
#include "support/scripted_server.h"

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

std::string Zeros(size_t n) {
    return std::string(n, '\0');
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
    EXPECT_EQ(Bytes(untouched), Zeros(72));
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

template <class Head, class Body>
std::string AnswerBody(const char* szCode, const char* szMarket, const std::vector<Body>& bars) {
    Head head{};
    memcpy(head.chCode, szCode, strnlen(szCode, sizeof head.chCode));
    memcpy(head.chMarket, szMarket, strnlen(szMarket, sizeof head.chMarket));
    head.nItems = static_cast<int>(bars.size());
    head.nLastPacket = 1;
    std::string strStream;
    for (const Body& bar : bars) EXPECT_TRUE(codec::EncodeRecord(bar, strStream));
    return Bytes(head) + strStream;
}
std::string Bars(const char* szCode, const char* szMarket,
                 const std::vector<ZPMDefine_KData>& bars) {
    return AnswerBody<ZPMDefine_KData_Head>(szCode, szMarket, bars);
}

struct Answer {
    int nResult = 0;
    std::vector<QRXDefine_KLine> bars;
};
Answer Ask(void* h, const QRXDefine_ReqKLine& request) {
    Answer answer;
    QRXDefine_KLine* pBars = reinterpret_cast<QRXDefine_KLine*>(&answer);
    int nCount = 77;
    answer.nResult = QRX_GetKLine(h, &request, &pBars, &nCount);
    if (pBars != nullptr) answer.bars.assign(pBars, pBars + nCount);
    QRX_Free(pBars);
    EXPECT_TRUE(answer.nResult == 0 || nCount == 0);
    return answer;
}

// A server that answers requests of bars from a list in turn and keeps what it was asked. An empty
// answer cuts the connection.
class BarServer {
public:
    struct Reply {
        int nType;
        std::string strBody;
    };
    BarServer(std::vector<Reply> replies, std::vector<TestMarket> vecMarkets = DefaultMarkets())
        : m_replies(std::move(replies)),
          m_server(Serving(
              [this](Peer& peer, const Message& request) {
                  const std::lock_guard<std::mutex> guard(m_mutex);
                  m_asked.push_back(request);
                  const Reply& reply = m_replies.at(m_asked.size() - 1);
                  return !reply.strBody.empty() && peer.Answer(request, reply.nType, reply.strBody);
              },
              std::move(vecMarkets))) {}
    int Port() const { return m_server.Port(); }
    std::vector<Message> Asked() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_asked;
    }

private:
    std::vector<Reply> m_replies;
    std::mutex m_mutex;
    std::vector<Message> m_asked;
    ScriptedServer m_server;
};

TEST(KLineRequest, PlainBarsComeAsTheyAre) {
    BarServer server(
        {{1010, Bars("600000", "SH", {Raw(20140102, 93000, 100), Raw(20140103, 94500, 200)})},
         {1010, Bars("600000", "SH", {Raw(20140131, 0, 300)})}});
    Session session(server.Port());
    const Answer plain = Ask(session.Get(), BarRequest("600000.sh", 1, 5, 20140102, 20140103));
    ASSERT_EQ(plain.nResult, QRX_OK);
    ASSERT_EQ(plain.bars.size(), 2U);
    EXPECT_STREQ(plain.bars[1].chVelaCode, "600000.SH");
    EXPECT_STREQ(plain.bars[1].chCode, "600000");
    EXPECT_EQ(Fields(plain.bars[1]),
              std::vector<int64_t>({20140103, 94500000, 199, 205, 195, 200, 1400, 200, 3, 9}));
    // Longer cycles are never laid onto a grid. Without an end the first day is the last.
    const Answer month = Ask(session.Get(), BarRequest("600000.SH", CYC_MONTH, 1, 20140131, 0, 1));
    ASSERT_EQ(month.bars.size(), 1U);
    EXPECT_EQ(month.bars[0].nClose, 300);
    // An unknown code is not asked for.
    EXPECT_EQ(Ask(session.Get(), BarRequest("600001.SH", 1, 1, 20140102, 20140103)).nResult,
              QRX_ERR_NO_DATA);
    ASSERT_EQ(server.Asked().size(), 2U);
    EXPECT_EQ(server.Asked()[0].head.sDataType, 101);
    // Code, market, 0, no mode, minutes 0, multiple 5, 20140102, 20140103, 0, flags 0, zeros.
    EXPECT_EQ(server.Asked()[0].strBody,
              std::string("600000\0\0SH", 10) + Zeros(22) +
                  std::string("\x05\0\0\0\x46\x50\x33\x01\x47\x50\x33\x01", 12) + Zeros(28));
    // Cycle 9 (month), both dates 20140131; no request for completion goes out.
    EXPECT_EQ(
        server.Asked()[1].strBody.substr(28, 24),
        std::string("\x09\0\0\0\x01\0\0\0\x63\x50\x33\x01\x63\x50\x33\x01\0\0\0\0\0\0\0\0", 24));
}

TEST(KLineRequest, CompletedWithAndWithoutAPreviousClose) {
    const std::string strMinutes = Bars("600000", "SH", {Raw(20140116, 93100, 100)});
    const std::string strNone = Bars("600000", "SH", {});
    BarServer server({{1010, strMinutes},
                      {1010, Bars("600000", "SH", {Raw(20140110, 0, 50), Raw(20140115, 0, 60)})},
                      {1010, strMinutes},
                      {1010, strNone},
                      {1010, Bars("600000", "SH", {Raw(20140116, 93200, 100)})},
                      {1010, Bars("600000", "SH", {Raw(20140101, 0, 50)})},
                      {1010, Bars("600000", "SH", {Raw(20140116, 93000, 100)})}});
    Session session(server.Port());
    auto request = BarRequest("600000.SH", 1, 1, 20140116, 20140116, 1);
    for (const int nPrevious : {60, 0}) {
        const Answer answer = Ask(session.Get(), request);
        ASSERT_EQ(answer.bars.size(), 240U);
        EXPECT_EQ(answer.bars[0].nTime, 93000000);
        EXPECT_EQ(answer.bars[0].nHigh, nPrevious);
        EXPECT_EQ(answer.bars[0].iVolume, 0);
        EXPECT_STREQ(answer.bars[0].chVelaCode, "600000.SH");
        EXPECT_EQ(answer.bars[1].nHigh, 105);
        EXPECT_EQ(answer.bars[239].nTime, 145900000);
        EXPECT_EQ(answer.bars[239].nHigh, 100);
    }
    // The begin time goes with the previous-close request: the one daily bar, on the first of its
    // days at time 0, lies before it. The grid starts at the opening nevertheless.
    request.nBeginTime = 93200000;
    const Answer timed = Ask(session.Get(), request);
    ASSERT_EQ(timed.bars.size(), 240U);
    EXPECT_EQ(timed.bars[0].nTime, 93000000);
    EXPECT_EQ(timed.bars[0].nClose, 0);
    // A bar at the opening needs no previous close.
    request.nBeginTime = 0;
    EXPECT_EQ(Ask(session.Get(), request).bars[0].iVolume, 700);
    ASSERT_EQ(server.Asked().size(), 7U);
    // Never completed by the server; daily bars of 20140101 to 20140115.
    EXPECT_EQ(server.Asked()[0].strBody.substr(48, 4), Zeros(4));
    EXPECT_EQ(server.Asked()[1].strBody.substr(28, 16),
              std::string("\x07\0\0\0\x01\0\0\0\x45\x50\x33\x01\x53\x50\x33\x01", 16));
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
        {{1012, AnswerBody<ZPMDefine_KData_Option_Head, ZPMDefine_KData>(
                    "IO1701-C-3500", "CF", {Raw(20140116, 91600, 100)})},
         {1010, Bars("IO1701-C", "CF", {Raw(20140115, 0, 60)})},
         {1011, AnswerBody<ZPMDefine_KData_Head, ZPMDefine_KData_Index>("000001", "SH", {index})},
         {1012, strOdd}},
        {{"SH", {{"000001", 1}}}, {"CF", {{"IO1701-C-3500", 0x91}, {"IO1701-INDEX", -112}}}});
    Session session(server.Port());
    const Answer option =
        Ask(session.Get(), BarRequest("IO1701-C-3500.CF", 1, 1, 20140116, 20140116, 1));
    ASSERT_EQ(option.bars.size(), 270U);
    EXPECT_STREQ(option.bars[0].chVelaCode, "IO1701-C-3500.CF");
    EXPECT_STREQ(option.bars[0].chCode, "IO1701-C-3500");
    EXPECT_EQ(option.bars[0].nTime, 91500000);
    EXPECT_EQ(option.bars[0].nOpen, 60);
    EXPECT_EQ(option.bars[1].nOpen, 99);
    const Answer plain = Ask(session.Get(), BarRequest("000001.SH", 1, 1, 20140116, 20140116));
    ASSERT_EQ(plain.bars.size(), 1U);
    EXPECT_EQ(Fields(plain.bars[0]),
              std::vector<int64_t>({20140116, 93000000, 1, 2, 3, 4, 5, 6, 7, 0}));
    const Answer odd = Ask(session.Get(), BarRequest("IO1701-INDEX.CF", 2, 1, 20140116, 20140116));
    ASSERT_EQ(odd.bars.size(), 1U);
    EXPECT_STREQ(odd.bars[0].chVelaCode, "IO1701IX.CF");
    EXPECT_EQ(Fields(odd.bars[0]), std::vector<int64_t>({1, 0, 0, 0, 2, 3, 1, 2, 3, 0}));

    EXPECT_EQ(server.Asked()[0].head.sDataType, 117);
    EXPECT_EQ(server.Asked()[0].strBody,
              std::string("IO1701-C-3500\0\0\0CF", 18) + Zeros(26) +
                  std::string("\x01\0\0\0\x54\x50\x33\x01\x54\x50\x33\x01", 12) + Zeros(28));
    EXPECT_EQ(server.Asked()[1].head.sDataType, 101);
    EXPECT_EQ(server.Asked()[1].strBody.substr(0, 12), std::string("IO1701-CCF\0\0", 12));
}

// A cut in the request or in its previous-close request is one failed attempt of the whole.
TEST(KLineRequest, RetriesAfterACut) {
    const std::string strMinutes = Bars("600000", "SH", {Raw(20140116, 93100, 100)});
    const BarServer::Reply cut{0, ""};
    BarServer server({cut,
                      {1010, strMinutes},
                      cut,
                      {1010, strMinutes},
                      {1010, Bars("600000", "SH", {Raw(20140115, 0, 60)})},
                      cut});
    const auto request = BarRequest("600000.SH", 1, 1, 20140116, 20140116, 1);
    Session session(server.Port(), 5, 2, 0);
    const Answer answer = Ask(session.Get(), request);
    ASSERT_EQ(answer.nResult, QRX_OK);
    EXPECT_EQ(answer.bars[0].nClose, 60);
    Session single(server.Port(), 5, 0, 0);
    EXPECT_EQ(Ask(single.Get(), request).nResult, QRX_ERR_NETWORK);
    EXPECT_EQ(Ask(single.Get(), request).nResult, QRX_ERR_NETWORK);  // disconnected for good
    EXPECT_EQ(server.Asked().size(), 6U);
}

TEST(KLineRequestDeathTest, MarketWithoutGrid) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            BarServer server({{1010, Bars("00700", "HK", {Raw(20140116, 93000, 100)})}},
                             {{"HK", {{"00700", 16}}}});
            Session session(server.Port());
            Ask(session.Get(), BarRequest("00700.HK", 1, 1, 20140116, 20140116, 1));
        },
        "MarketDataSource:[0-9]+: .*Assertion `0' failed");
}

}  // namespace
}  // namespace qrx::test
