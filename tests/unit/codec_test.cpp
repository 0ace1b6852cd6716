// Integers and record streams, against bytes worked by hand.
#include <gtest/gtest.h>

#include <cstring>

#include "codec/codecs.h"

namespace {

struct Scaled {
    std::vector<unsigned char> bytes;
    long long nValue;
    int nConsumed;
};

TEST(Integer, ScaledForm) {
    const Scaled kCases[] = {
        {{0x00}, 0, 1},
        {{0x80}, 0, 1},
        {{0x03}, 0, 1},
        {{0x04}, 1, 1},
        {{0x8C}, -3, 1},
        {{0x0D}, 30, 1},
        {{0x0F}, 3000, 1},
        {{0x05}, 10, 1},
        {{0x07}, 1000, 1},
        {{0x74}, 1, 1},  // short value: the count bits are not read
        {{0x10, 0xFF}, 255, 2},
        {{0x11, 0x05}, 50, 2},
        {{0x22, 0x34, 0x12}, 466000, 3},
        {{0x93, 0x07}, -7000, 2},
        {{0x12, 0x0A}, 1000, 2},
        {{0x40, 0xFF, 0xFF, 0xFF, 0xFF}, 4294967295, 5},
        {{0x50, 0, 0, 0, 0, 0x80}, 0x8000000000, 6},
        {{0x70, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, (1LL << 56) - 1, 8},
        // (2^56 - 1) * 1000 wraps in 64 bits: 2^56 * 1000 mod 2^64 is 232 * 2^56
        {{0x73, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
         static_cast<long long>((232ULL << 56) - 1000),
         8},
    };
    for (const Scaled& c : kCases) {
        std::vector<unsigned char> bytes = c.bytes;
        bytes.resize(16, 0xAB);
        long long nValue = 77;
        EXPECT_EQ(decompressData(nValue, reinterpret_cast<char*>(bytes.data())), c.nConsumed);
        EXPECT_EQ(nValue, c.nValue) << "tag " << static_cast<int>(c.bytes[0]);
    }
}

TEST(Integer, PackedForm) {
    const Scaled kCases[] = {
        {{0x05}, 5, 1},
        {{0x85}, -5, 1},
        {{0x9F}, -31, 1},
        {{0x21, 0x02}, 65, 2},
        {{0x7F, 0xFF, 0xFF, 0xFF}, 536870911, 4},
        {{0xE0, 0, 0, 0}, 0, 4},
        {{0x41, 0x00, 0x01}, (1 << 13) + 1, 3},
    };
    for (const Scaled& c : kCases) {
        std::vector<unsigned char> bytes = c.bytes;
        bytes.resize(16, 0xAB);
        int nValue = 77;
        EXPECT_EQ(decompressData32(reinterpret_cast<char*>(bytes.data()), nValue), c.nConsumed);
        EXPECT_EQ(nValue, c.nValue);
    }
}

TEST(Integer, EncodersAreReadBack) {
    uint64_t nSeed = 1;
    for (int i = 0; i < 200000; ++i) {
        nSeed = nSeed * 6364136223846793005ULL + 1442695040888963407ULL;
        const auto nValue = static_cast<long long>(nSeed) >> (8 + i % 56);
        char bytes[16] = {};
        const int n = compressData(nValue, bytes);
        long long nBack = 0;
        ASSERT_EQ(decompressData(nBack, bytes), n);
        ASSERT_EQ(nBack, nValue);
        const int nSmall = static_cast<int>(nSeed >> 36) * (i % 2 == 0 ? 1 : -1);
        const int nUsed = compressData32(bytes, nSmall);
        int nBack32 = 0;
        ASSERT_EQ(decompressData32(bytes, nBack32), nUsed);
        ASSERT_EQ(nBack32, nSmall);
    }
    char bytes[16];
    EXPECT_EQ(compressData(INT64_MIN + 1, bytes), 0);
    EXPECT_EQ(compressData32(bytes, 1 << 29), 0);
}

// Feeds a record the values 1, 2, 3 and so on in stream order and shows where they land.
template <class Record>
std::vector<int> Landing(int (*pfn)(char*, int, Record*, int), int nValues) {
    std::string strStream;
    for (int i = 1; i <= nValues; ++i) {
        strStream += '\x10';
        strStream += static_cast<char>(i);
    }
    strStream.append(8, '\0');
    Record record{};
    EXPECT_EQ(pfn(strStream.data(), 2 * nValues, &record, 1), 2 * nValues);
    std::vector<int> bytes(sizeof(Record));
    for (size_t i = 0; i < sizeof(Record); ++i)
        bytes[i] = reinterpret_cast<unsigned char*>(&record)[i];
    return bytes;
}

TEST(Codec, StreamOrderByOffset) {
    // Offset of a byte in the packed record, and the number of the value that must stand there.
    const auto night = Landing(&decompress_Tick_AB_Night, 64);
    EXPECT_EQ(night[0], 1);     // nDate
    EXPECT_EQ(night[4], 2);     // nTime
    EXPECT_EQ(night[36], 8);    // chTickFlag1
    EXPECT_EQ(night[38], 10);   // iAccVolume
    EXPECT_EQ(night[54], 12);   // nBook1[0]
    EXPECT_EQ(night[58], 13);   // nBook1[1]: array after array
    EXPECT_EQ(night[94], 22);   // nBook2[0]
    EXPECT_EQ(night[174], 42);  // nBook4[0]
    EXPECT_EQ(night[222], 54);  // iABField3
    EXPECT_EQ(night[238], 56);  // nExt[0]
    EXPECT_EQ(night[270], 64);  // nIndexField[4]
    const auto day = Landing(&decompress_TickData_AB_ACC_EX, 58);
    EXPECT_EQ(day[50], 11);   // nBook1[0]
    EXPECT_EQ(day[54], 15);   // nBook1[1]: interleaved
    EXPECT_EQ(day[90], 12);   // nBook2[0]
    EXPECT_EQ(day[246], 58);  // nExt[3]
    const auto all = Landing(&decompress_TickData_ALL, 58);
    EXPECT_EQ(all[218], 55);  // iABField3: the second store stands
    EXPECT_EQ(all[226], 56);
    EXPECT_EQ(all[234], 57);
    const auto index = Landing(&decompress_TickData_Index_ACC_EX, 16);
    EXPECT_EQ(index[28], 6);   // nIndexField[0]
    EXPECT_EQ(index[48], 11);  // iAccVolume
    EXPECT_EQ(index[64], 13);  // nExt[0]
    const auto order = Landing(&decompress_Order_v2, 7);
    EXPECT_EQ(order[4], 2);  // nOrderField before nIndex
    EXPECT_EQ(order[13], 5);
    const auto future = Landing(&decompress_Future_AB_Night, 32);
    EXPECT_EQ(future[113], 8);   // nValue2
    EXPECT_EQ(future[121], 10);  // nValue1
    EXPECT_EQ(future[129], 12);  // nAuxValue
    EXPECT_EQ(future[33], 13);   // nBook1[0]
    EXPECT_EQ(future[53], 14);   // nBook2[0]
    EXPECT_EQ(future[37], 17);   // nBook1[1]
    const auto bar = Landing(&decompress_KData_Index, 13);
    EXPECT_EQ(bar[40], 9);
    EXPECT_EQ(bar[56], 13);
}

TEST(Codec, ShortStreamsAndRefusals) {
    char stream[16] = {0x10, 9, 0x0F, 0x40, -1, -1, -1, -1};  // 9, 3000, 4294967295
    ZPMDefine_Order records[2];
    memset(records, 0x55, sizeof records);
    // The third tag starts inside the stream and is read whole; nothing after it is.
    EXPECT_EQ(decompress_Order(stream, 4, records, 2), 8);
    EXPECT_EQ(+records[0].nTime, 9);
    EXPECT_EQ(+records[0].nIndex, 3000);
    EXPECT_EQ(+records[0].chFlag1, -1);  // cut to eight bits
    EXPECT_EQ(+records[0].chFlag2, 0x55);
    EXPECT_EQ(+records[1].nTime, 0x55555555);
    EXPECT_EQ(decompress_Order(stream, 4, nullptr, 2), 0);
    EXPECT_EQ(decompress_Order(stream, 0, records, 2), 0);
    // The bar codecs look at the source instead.
    EXPECT_EQ(decompress_KData(nullptr, 4, nullptr, 2), 0);
    EXPECT_EQ(decompress_KData(stream, -1, nullptr, 2), 0);
}

}  // namespace
