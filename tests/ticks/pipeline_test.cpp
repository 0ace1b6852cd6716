// The plain pipeline and the converters: which field lands where, which records are kept.
#include <gtest/gtest.h>

#include "codec/codecs.h"
#include "session/data_source.h"
#include "support/date_time.h"
#include "ticks/converters.h"
#include "ticks/pipeline.h"

namespace {

using namespace BusinessConvertor;

// A record whose bytes are all different from those of its neighbours.
template <class Body>
Body Patterned() {
    Body body;
    for (size_t i = 0; i < sizeof body; ++i)
        reinterpret_cast<char*>(&body)[i] = static_cast<char>(i * 37 + 11);
    return body;
}

template <class Body, class Record>
Record Converted(void (*pfn)(const Body&, Record&, int, const std::string&, const std::string&)) {
    Record record;
    memset(static_cast<void*>(&record), 0x5A, sizeof record);
    pfn(Patterned<Body>(), record, 20240105, std::string(40, 'v'), "600000");
    EXPECT_EQ(std::string(record.chVelaCode, 32), std::string(31, 'v') + std::string(1, '\0'));
    EXPECT_EQ(std::string(record.chCode, 32), "600000" + std::string(26, '\0'));
    return record;
}

#define QRX_EXPECT_SAME(member) \
    EXPECT_EQ(memcmp(&body.member, &record.member, sizeof body.member), 0) << #member
#define QRX_EXPECT_ZERO(member)                                                           \
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&record.member), sizeof record.member), \
              std::string(sizeof record.member, '\0'))                                    \
        << #member

template <class Body, class Record>
void ExpectCommon(const Body& body, Record& record) {
    QRX_EXPECT_SAME(nTime);
    QRX_EXPECT_SAME(nPrice);
    QRX_EXPECT_SAME(iVolume);
    QRX_EXPECT_SAME(iTurnover);
    QRX_EXPECT_SAME(nTickField1);
    QRX_EXPECT_SAME(iAccVolume);
    QRX_EXPECT_SAME(iAccTurnover);
    QRX_EXPECT_SAME(nExt);
}

TEST(Converters, Indexes) {
    const auto body = Patterned<ZPMDefine_TickData_Index_ACC_EX>();
    auto record = Converted<ZPMDefine_TickData_Index_ACC_EX, QRXDefine_TickAB>(&HTickIndexACC2TAB);
    ExpectCommon(body, record);
    QRX_EXPECT_SAME(nIndexField);
    EXPECT_EQ(+record.nDate, 20240105);
    QRX_EXPECT_ZERO(nTickField2);
    QRX_EXPECT_ZERO(chTickFlag1);
    QRX_EXPECT_ZERO(nBook1);
    QRX_EXPECT_ZERO(nBook4);
    QRX_EXPECT_ZERO(iABField4);
}

TEST(Converters, DayAndNight) {
    {
        const auto body = Patterned<ZPMDefine_TickData_AB_ACC_EX>();
        auto record = Converted<ZPMDefine_TickData_AB_ACC_EX, QRXDefine_TickAB>(&HTickABACC2T);
        ExpectCommon(body, record);
        QRX_EXPECT_SAME(nTickField2);
        QRX_EXPECT_SAME(chTickFlag2);
        QRX_EXPECT_SAME(nBook1);
        QRX_EXPECT_SAME(nBook4);
        QRX_EXPECT_SAME(nABField2);
        QRX_EXPECT_SAME(iABField4);
        QRX_EXPECT_ZERO(nIndexField);
    }
    {
        const auto body = Patterned<ZPMDefine_Tick_AB_Night>();
        auto record = Converted<ZPMDefine_Tick_AB_Night, QRXDefine_TickAB>(&HTickABNight2T);
        ExpectCommon(body, record);
        QRX_EXPECT_SAME(nDate);  // its own, not the argument
        QRX_EXPECT_SAME(nBook2);
        QRX_EXPECT_SAME(nBook3);
        QRX_EXPECT_SAME(iABField3);
        QRX_EXPECT_SAME(nIndexField);
    }
    {
        const auto body = Patterned<ZPMDefine_Tick_Night>();
        auto record = Converted<ZPMDefine_Tick_Night, QRXDefine_TickAB>(&HTickNight2TAB);
        ExpectCommon(body, record);
        QRX_EXPECT_SAME(nDate);
        QRX_EXPECT_SAME(nIndexField);
        QRX_EXPECT_ZERO(nBook1);
    }
}

TEST(Converters, Trades) {
    {
        const auto body = Patterned<ZPMDefine_Transaction_v2>();
        auto record = Converted<ZPMDefine_Transaction_v2, QRXDefine_Transaction>(&HTranaction2T);
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(&record) + 72, &body.nTime, 4),
                  0);  // index at 68, time at 72
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(&record) + 68, &body.nIndex, 4), 0);
        QRX_EXPECT_SAME(chFlag3);
        QRX_EXPECT_SAME(nTradeValue);
        QRX_EXPECT_SAME(nTradeValue4);
        EXPECT_EQ(+record.nDate, 20240105);
    }
    {
        const auto body = Patterned<ZPMDefine_Order_v2>();
        auto record = Converted<ZPMDefine_Order_v2, QRXDefine_Order>(&HOrder2T);
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(&record) + 68, &body.nIndex, 4), 0);
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(&record) + 72, &body.nTime, 4), 0);
        EXPECT_EQ(memcmp(reinterpret_cast<char*>(&record) + 76, &body.nOrderField, 4), 0);
        QRX_EXPECT_SAME(nOrderValue2);
    }
    {
        const auto body = Patterned<ZPMDefine_OrderQueue>();
        auto record = Converted<ZPMDefine_OrderQueue, QRXDefine_OrderQueue>(&HOrderQueue2T);
        QRX_EXPECT_SAME(nTime);
        QRX_EXPECT_SAME(nQueueField);
        QRX_EXPECT_SAME(nQueueItems);
    }
}

TEST(RangeFilter, Bounds) {
    const struct {
        qrx::RangeFilter filter;
        int nDate, nTime;
        bool bDrops;
    } kCases[] = {
        {{20100105, 20100106, 0, 0},
         20100104,
         93000000,
         false},  // a begin date alone keeps the night before
        {{20100105, 20100106, 93000000, 0}, 20100104, 99999999, true},
        {{20100105, 20100106, -1, 0}, 20100104, 99999999, true},  // any begin time that is not 0
        {{20100105, 20100106, -1, 0}, 20100105, 0, false},
        {{20100105, 20100106, 93000000, 0}, 20100105, 92999999, true},
        {{20100105, 20100106, 93000000, 0}, 20100105, 93000000, false},
        {{20100105, 20100106, 93000000, 0}, 20100106, 0, false},
        {{20100105, 20100106, 0, 113000000}, 20100106, 113000000, false},
        {{20100105, 20100106, 0, 113000000}, 20100106, 113000001, true},
        {{20100105, 20100106, 0, 113000000}, 20100105, 150000000, false},
        {{20100105, 20100106, 0, 0}, 20100107, 0, true},
        {{20100105, 0, 0, 0}, 20100107, 0, false},
    };
    for (const auto& c : kCases)
        EXPECT_EQ(c.filter.Drops(c.nDate, c.nTime), c.bDrops) << c.nDate << " " << c.nTime;
}

// A packet of first-format order queues, whose times come as HHMMSS.
std::vector<char> QueuePacket(const std::vector<int>& times, int nItems) {
    ZPMDefine_SaveData_Head head{};
    memcpy(head.chCode, "600000zz", 8);
    memcpy(head.chMarket, "SHFE", 4);
    head.nDate = 20240105;
    head.nItems = nItems;
    std::string strStream;
    for (const int nTime : times) {
        ZPMDefine_OrderQueue queue{};
        queue.nTime = nTime;
        queue.nQueueItems[49] = nTime % 100;
        qrx::codec::EncodeRecord(queue, strStream);
    }
    const std::string strAll = std::string(reinterpret_cast<char*>(&head), sizeof head) + strStream;
    std::vector<char> packet(strAll.begin(), strAll.end());
    packet.resize(packet.size() + 16);
    return packet;
}

TEST(Pipeline, WalksPacketsUpToTheMaximum) {
    std::vector<char> first = QueuePacket({93000, 93001, 93002}, 3);
    std::vector<char> none = QueuePacket({}, 0);
    std::vector<char> last = QueuePacket({93003}, 2);  // one more announced than sent
    const std::vector<char*> packets = {first.data(), none.data(), last.data()};
    const std::vector<int> lengths = {static_cast<int>(first.size()) - 16,
                                      static_cast<int>(none.size()) - 16,
                                      static_cast<int>(last.size()) - 16};
    MarketDataSource session;
    const auto run = [&](int nMax, int nType, int nBeginTime, QRXDefine_OrderQueue* pOut) {
        return session.DecompressRawVec<ZPMDefine_SaveData_Head>(
            pOut, nMax, packets, lengths, &decompress_OrderQueue, &HOrderQueue2T, nType, 20240105,
            20240105, nBeginTime, 0, nullptr);
    };
    QRXDefine_OrderQueue out[5];
    ASSERT_EQ(run(5, 1031, 0, out), 5);
    EXPECT_EQ(+out[0].nTime, 93000000);
    EXPECT_EQ(+out[3].nTime, 93003000);
    EXPECT_EQ(+out[3].nQueueItems[49], 3);
    EXPECT_EQ(+out[4].nTime, 0);
    EXPECT_EQ(+out[4].nDate, 20240105);
    EXPECT_STREQ(out[4].chVelaCode, "600000ZZ.SHFE");
    EXPECT_STREQ(out[4].chCode, "600000zz");
    EXPECT_EQ(run(2, 1031, 0, out), 2);
    EXPECT_EQ(run(5, 1037, 0, out), 5);
    EXPECT_EQ(+out[0].nTime, 93000);  // this type's times are taken as they are
    EXPECT_EQ(run(5, 1031, 93001000, out), 3);
    EXPECT_DEATH(run(5, 1040, 0, out), "MarketDataSource:[0-9]+: .*Assertion `0' failed");
    session.Close();
    EXPECT_EQ(run(5, 1031, 0, out), 0);  // a closed session decodes no more
}

TEST(Builders, Bytes) {
    QRXDefine_ReqTransaction request{};
    memcpy(request.chCode, "CU1701.shf", 10);
    ZPMDefine_RequestSaveData out;
    T2HReqOrder(request, out, 20240105, -5, 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(&out), sizeof out),
              std::string(
                  "cu1701\0\0SHF\0\0\0\0\0\xe9\xd6\x34\x01\2\0\0\0\0\0\0\0\xff\xff\xff\xff\0\0\0\0"
                  "\x22\x22\x22\x22\0\0\0\0\0\0\0\0",
                  48));
    T2HReqOrderQueue(request, out, 20240105, 93000000, 150000000);
    EXPECT_EQ(+out.nDataKind, 1);
    EXPECT_EQ(+out.nReqMark, 0U);
    EXPECT_EQ(+out.nBeginTime, 93000000);
    EXPECT_EQ(+out.nEndTime, 150000000);
    const int nToday = DateTimeInfo().ToYYMMDD();
    T2HReqTransaction(request, out, 0, 0, -1);
    EXPECT_TRUE(out.nDate == nToday || out.nDate == DateTimeInfo().ToYYMMDD());
    EXPECT_EQ(+out.nDataKind, 0);
    memcpy(request.chCode, "123456789012.ABCDEF", 19);  // cut to the fields
    T2HReqTransaction(request, out, 1, 0, -1);
    EXPECT_EQ(std::string(out.chCode, 12), "12345678ABCD");
}

}  // namespace
