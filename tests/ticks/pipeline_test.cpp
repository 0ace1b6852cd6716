// The plain pipeline and the converters: which field lands where, which records are kept.
#include <gtest/gtest.h>

#include "codec/codecs.h"
#include "session/data_source.h"
#include "support/date_time.h"
#include "ticks/converters.h"
#include "ticks/pipeline.h"

namespace {

using namespace BusinessConvertor;

// Bytes that a converter moves: offset in the server record, offset in the public one, how many.
struct Run {
    size_t nFrom, nTo, nBytes;
};

// Converts a record whose bytes all differ from their neighbours and holds the whole result.
template <class Body, class Record>
void ExpectMoves(const char* szName, const std::vector<Run>& runs,
                 void (*pfn)(const Body&, Record&, int, const std::string&, const std::string&)) {
    Body body;
    char* pBody = reinterpret_cast<char*>(&body);
    for (size_t i = 0; i < sizeof body; ++i) pBody[i] = static_cast<char>(i * 37 + 11);
    constexpr int kDate = 20240105;
    std::string strExpected(sizeof(Record), '\0');
    strExpected.replace(0, 31, std::string(31, 'v')).replace(32, 6, "600000");
    memcpy(strExpected.data() + 64, &kDate, sizeof kDate);
    for (const Run& run : runs) {
        strExpected.replace(run.nTo, run.nBytes, pBody + run.nFrom, run.nBytes);
    }
    Record record;
    memset(static_cast<void*>(&record), 0x5A, sizeof record);
    pfn(body, record, kDate, std::string(40, 'v'), "600000");
    const char* pRecord = reinterpret_cast<const char*>(&record);
    for (size_t i = 0; i < sizeof record; ++i) {
        EXPECT_EQ(+pRecord[i], +strExpected[i]) << szName << " at " << i;
    }
}

TEST(Converters, WhichBytesLandWhere) {
    using TickAB = QRXDefine_TickAB;
    using Index = ZPMDefine_TickData_Index_ACC_EX;
    ExpectMoves("day", {{0, 68, 66}}, &HTickACC2T);
    ExpectMoves("day with levels", {{0, 68, 50}, {50, 134, 184}, {234, 118, 16}}, &HTickABACC2T);
    ExpectMoves<Index, QRXDefine_Tick>(
        "index", {{0, 68, 28}, {28, 134, 20}, {48, 102, 16}, {64, 118, 16}}, &HTickIndexACC2T);
    ExpectMoves<Index, TickAB>("index with levels",
                               {{0, 68, 28}, {28, 318, 20}, {48, 102, 16}, {64, 118, 16}},
                               &HTickIndexACC2TAB);
    // Night records have a date of their own.
    ExpectMoves("night", {{0, 64, 90}}, &HTickNight2T);
    ExpectMoves("night into levels", {{0, 64, 70}, {70, 318, 20}}, &HTickNight2TAB);
    ExpectMoves("night with levels", {{0, 64, 54}, {54, 134, 184}, {238, 118, 16}, {254, 318, 20}},
                &HTickABNight2T);
    // Times come first and go second.
    ExpectMoves<ZPMDefine_Transaction_v2, QRXDefine_Transaction>(
        "transaction", {{0, 72, 4}, {4, 68, 4}, {8, 76, 19}}, &HTranaction2T);
    ExpectMoves<ZPMDefine_Transaction, QRXDefine_Transaction>(
        "first transaction", {{0, 72, 4}, {4, 68, 4}, {8, 76, 2}, {10, 79, 8}}, &HTranaction2T);
    ExpectMoves<ZPMDefine_Order_v2, QRXDefine_Order>(
        "order", {{0, 72, 4}, {4, 76, 4}, {8, 68, 4}, {12, 80, 10}}, &HOrder2T);
    ExpectMoves<ZPMDefine_Order, QRXDefine_Order>("first order",
                                                  {{0, 72, 4}, {4, 68, 4}, {8, 80, 10}}, &HOrder2T);
    ExpectMoves("order queue", {{0, 68, 220}}, &HOrderQueue2T);
}

TEST(RangeFilter, Bounds) {
    constexpr int a = 20100105, b = 20100106, kOpen = 93000000, kNoon = 113000000;
    const struct {
        qrx::RangeFilter filter;
        int nDate, nTime;
        bool bDrops;
    } kCases[] = {{{a, b, 0, 0}, a - 1, kOpen, false},  // the night before, unless a time is given
                  {{a, b, kOpen, 0}, a - 1, 99999999, true},
                  {{a, b, -1, 0}, a - 1, 99999999, true},  // any begin time that is not 0
                  {{a, b, -1, 0}, a, 0, false},
                  {{a, b, kOpen, 0}, a, kOpen - 1, true},
                  {{a, b, kOpen, 0}, a, kOpen, false},
                  {{a, b, kOpen, 0}, b, 0, false},
                  {{a, b, 0, kNoon}, b, kNoon, false},
                  {{a, b, 0, kNoon}, b, kNoon + 1, true},
                  {{a, b, 0, kNoon}, a, 150000000, false},
                  {{a, b, 0, 0}, b + 1, 0, true},
                  {{a, 0, 0, 0}, b + 1, 0, false}};
    for (const auto& c : kCases) {
        EXPECT_EQ(c.filter.Drops(c.nDate, c.nTime), c.bDrops)
            << c.filter.nBeginTime << " to " << c.filter.nEndTime << ": " << c.nDate << " "
            << c.nTime;
    }
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

// What requests send is in the battery; here is what no request asks of the builders.
TEST(Builders, BoundsTodayAndLongCodes) {
    QRXDefine_ReqTransaction request{};
    memcpy(request.chCode, "123456789012.ABCDEF", 19);  // cut to the fields
    ZPMDefine_RequestSaveData out;
    const int kBounds[][4] = {{-5, 0, 0, -1}, {93000000, 150000000, 93000000, 150000000}};
    for (const auto& c : kBounds) {
        T2HReqOrderQueue(request, out, 20240105, c[0], c[1]);
        EXPECT_EQ(+out.nBeginTime, c[2]);
        EXPECT_EQ(+out.nEndTime, c[3]);
    }
    EXPECT_EQ(std::string(out.chCode, 12), "12345678ABCD");
    const int nToday = DateTimeInfo().ToYYMMDD();
    T2HReqTransaction(request, out, 0, 0, -1);
    EXPECT_TRUE(out.nDate == nToday || out.nDate == DateTimeInfo().ToYYMMDD());
}

}  // namespace
