// One tick's way: from a server's bytes to the caller's array.
#include <gtest/gtest.h>

#include "codec/codecs.h"
#include "support/scripted_server.h"

namespace qrx::test {
namespace {

// Two night ticks, worked by hand: fields in stream order, one byte each where small.
TEST(TickRequest, OneTickFromSocketToArray) {
    std::string strStream;
    ZPMDefine_Tick_Night tick{};
    tick.nDate = 20240105;
    tick.nTime = 93000000;
    tick.nPrice = 71200;
    tick.iVolume = 12300;
    tick.iAccTurnover = 1234567890123;
    tick.chTickFlag1 = -3;
    tick.nExt[3] = 70000;
    tick.nIndexField[4] = 5;
    ASSERT_TRUE(codec::EncodeRecord(tick, strStream));
    Message asked;
    ScriptedServer server(Serving([&](Peer& peer, const Message& request) {
        asked = request;
        ZPMDefine_TickData_Head head{};
        memcpy(head.chCode, "600000", 6);
        memcpy(head.chMarket, "SH", 2);
        head.nItems = 1;
        head.nLastPacket = 1;
        return peer.Answer(request, ID_ZPMTELE_TICK_NIGHT, Bytes(head) + strStream);
    }));
    Session session(server.Port());
    ASSERT_NE(session.Get(), nullptr) << session.Login().szInfo;
    EXPECT_STREQ(session.Login().szInfo, "retrieve code table: success!");
    const auto request = RequestFor<QRXDefine_ReqTick>("600000.sh", 20240105);
    QRXDefine_Tick* pTicks = nullptr;
    int nCount = 0;
    ASSERT_EQ(QRX_GetTick(session.Get(), &request, &pTicks, &nCount), QRX_OK);
    ASSERT_EQ(nCount, 1);
    EXPECT_STREQ(pTicks->chVelaCode, "600000.SH");
    EXPECT_STREQ(pTicks->chCode, "600000");
    EXPECT_EQ(+pTicks->nDate, 20240105);
    EXPECT_EQ(+pTicks->nTime, 93000000);
    EXPECT_EQ(+pTicks->nPrice, 71200);
    EXPECT_EQ(+pTicks->iVolume, 12300);
    EXPECT_EQ(+pTicks->iAccTurnover, 1234567890123);
    EXPECT_EQ(+pTicks->chTickFlag1, -3);
    EXPECT_EQ(+pTicks->nExt[3], 70000);
    EXPECT_EQ(+pTicks->nIndexField[4], 5);
    QRX_Free(pTicks);
    EXPECT_EQ(session.Close(), QRX_OK);

    // The request: code, market, flags 2, day, 0, -1, 0, bit 31, 0.
    ASSERT_EQ(asked.strBody.size(), 40U);
    EXPECT_EQ(asked.head.sDataType, 110);
    const std::string strExpected(
        "600000\0\0SH\0\0\x02\0\0\0\xe9\xd6\x34\x01\0\0\0\0\xff\xff\xff\xff"
        "\0\0\0\0\0\0\0\x80\0\0\0\0",
        40);
    EXPECT_EQ(asked.strBody, strExpected);
}

}  // namespace
}  // namespace qrx::test
