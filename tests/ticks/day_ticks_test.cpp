// Ticks of the day-only formats: which one is asked for, received and decoded. No exported function
// asks for them.
#include <gtest/gtest.h>

#include "session/data_source.h"
#include "support/answers.h"
#include "support/fetch.h"

namespace qrx::test {
namespace {

constexpr int kDay = 20240105;

template <class Body>
std::string Answer() {
    Body body{};
    body.nPrice = 71200;
    body.iAccVolume = 12300;
    if constexpr (requires { body.nBook1; }) body.nBook1[9] = 71300;
    std::vector<Body> bodies{body, body};
    bodies[0].nTime = 93000000;
    bodies[1].nTime = 93003000;
    return AnswerBody(HeadFor<ZPMDefine_TickData_Head>("000001", "SH", kDay), bodies);
}

template <class Record>
void ExpectTicks(const char* szCode, bool bAB, int nAnswerType, const std::string& strAnswer,
                 int nLastLevel) {
    SCOPED_TRACE(nAnswerType);
    const std::string strCode(szCode, 6);
    ScriptedServer server(Serving([&](Peer& peer, const Message& r) {
        EXPECT_EQ(r.head.sDataType, 107);
        EXPECT_EQ(r.strBody.substr(0, 6), strCode);
        EXPECT_EQ(r.strBody.substr(12, 8), Bytes(bAB ? 3 : 2) + Bytes(kDay));
        return peer.Answer(r, nAnswerType, strAnswer);
    }));
    MarketDataSource session;
    ASSERT_EQ(session.SetServer("127.0.0.1", std::to_string(server.Port()), "u", "p", 5, 0, 0), 0);
    QRXDefine_ResLogin login;
    ASSERT_EQ(session.Connect(&login), 0);
    auto request = RequestFor<QRXDefine_ReqTick>(szCode, kDay, kDay);
    for (const int nBeginTime : {0, 93001000, 93004000}) {
        request.nBeginTime = nBeginTime;
        const auto [nResult, records] = FetchArray<Record>([&](Record** ppData, int* pCount) {
            return session.DoReqTickOneDay(&request, reinterpret_cast<void**>(ppData), pCount, bAB,
                                           kDay, kDay);
        });
        const size_t nKept = nBeginTime == 0 ? 2 : nBeginTime == 93001000 ? 1 : 0;
        ASSERT_EQ(nResult, nKept > 0 ? 0 : -3) << nBeginTime;
        ASSERT_EQ(records.size(), nKept);
        if (nKept == 0) continue;
        const Record& last = records.back();
        EXPECT_STREQ(last.chCode, "000001");
        EXPECT_EQ(+last.nDate, kDay);
        EXPECT_EQ(+last.nTime, 93003000);
        EXPECT_EQ(+last.nPrice, 71200);
        EXPECT_EQ(+last.iAccVolume, 12300);
        if constexpr (requires { last.nBook1; }) EXPECT_EQ(+last.nBook1[9], nLastLevel);
    }
}

TEST(DayTicks, AreAskedForAndReadByTheKindOfSecurity) {
    using Index = ZPMDefine_TickData_Index_ACC_EX;
    const std::string strIndex = Answer<Index>();
    ExpectTicks<QRXDefine_Tick>("600000.SH", false, 1043, Answer<ZPMDefine_TickData_ACC_EX>(), 0);
    ExpectTicks<QRXDefine_TickAB>("600000.SH", true, 1044, Answer<ZPMDefine_TickData_AB_ACC_EX>(),
                                  71300);
    ExpectTicks<QRXDefine_Tick>("000001.SH", false, 1045, strIndex, 0);
    ExpectTicks<QRXDefine_TickAB>("000001.sh", true, 1045, strIndex, 0);
    // A stock of the same code as an index of another market.
    ExpectTicks<QRXDefine_Tick>("000001.SZ", false, 1043, Answer<ZPMDefine_TickData_ACC_EX>(), 0);
}

}  // namespace
}  // namespace qrx::test
