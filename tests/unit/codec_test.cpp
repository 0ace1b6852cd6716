// Integers and record streams, against bytes worked by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "codec/codecs.h"

namespace {

// All bytes of an integer, and its value.
struct Encoded {
    std::vector<unsigned char> bytes;
    long long nValue;
    std::string Padded() const {
        return std::string(bytes.begin(), bytes.end()) + std::string(16, '\xAB');
    }
};

// clang-format off
TEST(Integer, ScaledForm) {
    const Encoded kCases[] = {
        {{0x00}, 0}, {{0x80}, 0}, {{0x03}, 0}, {{0x04}, 1}, {{0x8C}, -3}, {{0x0D}, 30},
        {{0x0F}, 3000}, {{0x05}, 10}, {{0x07}, 1000},
        {{0x74}, 1},  // short value: the count bits are not read
        {{0x10, 0xFF}, 255}, {{0x11, 0x05}, 50}, {{0x22, 0x34, 0x12}, 466000},
        {{0x93, 0x07}, -7000}, {{0x12, 0x0A}, 1000}, {{0x40, 0xFF, 0xFF, 0xFF, 0xFF}, 4294967295},
        {{0x50, 0, 0, 0, 0, 0x80}, 0x8000000000},
        {{0x70, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, (1LL << 56) - 1},
        // (2^56 - 1) * 1000 wraps in 64 bits: 2^56 * 1000 mod 2^64 is 232 * 2^56
        {{0x73, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
         static_cast<long long>((232ULL << 56) - 1000)}};
    for (const Encoded& c : kCases) {
        SCOPED_TRACE(testing::Message() << "tag " << static_cast<int>(c.bytes[0]));
        const int nBytes = static_cast<int>(c.bytes.size());
        long long nValue = 77;
        EXPECT_EQ(decompressData(nValue, c.Padded().data()), nBytes);
        EXPECT_EQ(nValue, c.nValue);
        char bytes[8];  // the encoder takes the shortest form
        EXPECT_LE(compressData(c.nValue, bytes), nBytes);
    }
}

TEST(Integer, PackedForm) {
    const Encoded kCases[] = {{{0x05}, 5}, {{0x85}, -5}, {{0x9F}, -31}, {{0x21, 0x02}, 65},
                              {{0x7F, 0xFF, 0xFF, 0xFF}, 536870911}, {{0xE0, 0, 0, 0}, 0},
                              {{0x41, 0x00, 0x01}, (1 << 13) + 1}};
    for (const Encoded& c : kCases) {
        SCOPED_TRACE(testing::Message() << "head " << static_cast<int>(c.bytes[0]));
        int nValue = 77;
        EXPECT_EQ(decompressData32(c.Padded().data(), nValue), static_cast<int>(c.bytes.size()));
        EXPECT_EQ(nValue, c.nValue);
    }
}
// clang-format on

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

// Feeds a record the values 1, 2, 3 and so on in stream order. marks: the offset of a byte in the
// packed record, and the number of the value that must stand there.
template <class Record>
void ExpectLanding(const char* szName, int (*pfn)(char*, int, Record*, int), int nValues,
                   const std::vector<std::pair<size_t, int>>& marks) {
    std::string strStream;
    for (int i = 1; i <= nValues; ++i) (strStream += '\x10') += static_cast<char>(i);
    strStream.append(8, '\0');
    Record record{};
    EXPECT_EQ(pfn(strStream.data(), 2 * nValues, &record, 1), 2 * nValues) << szName;
    for (const auto& [nOffset, nValue] : marks) {
        EXPECT_EQ(reinterpret_cast<const unsigned char*>(&record)[nOffset], nValue)
            << szName << " at " << nOffset;
    }
}

TEST(Codec, StreamOrderByOffset) {
    // Date, time, a flag, a total; levels array after array, iABField3, nExt, nIndexField.
    ExpectLanding("night", &decompress_Tick_AB_Night, 64,
                  {{0, 1},
                   {4, 2},
                   {36, 8},
                   {38, 10},
                   {54, 12},
                   {58, 13},
                   {94, 22},
                   {174, 42},
                   {222, 54},
                   {238, 56},
                   {270, 64}});
    // Levels interleaved.
    ExpectLanding("day", &decompress_TickData_AB_ACC_EX, 58,
                  {{50, 11}, {54, 15}, {90, 12}, {246, 58}});
    // iABField3: the second store stands.
    ExpectLanding("all", &decompress_TickData_ALL, 58, {{218, 55}, {226, 56}, {234, 57}});
    // Index fields before the totals.
    ExpectLanding("index", &decompress_TickData_Index_ACC_EX, 16, {{28, 6}, {48, 11}, {64, 13}});
    // nOrderField before nIndex.
    ExpectLanding("order", &decompress_Order_v2, 7, {{4, 2}, {13, 5}});
    // Values 2 and 1 and the auxiliary one before the levels.
    ExpectLanding("future", &decompress_Future_AB_Night, 32,
                  {{113, 8}, {121, 10}, {129, 12}, {33, 13}, {53, 14}, {37, 17}});
    ExpectLanding("index bar", &decompress_KData_Index, 13, {{40, 9}, {56, 13}});
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
    // A stream that ends with a field ends there.
    memset(records, 0x55, sizeof records);
    EXPECT_EQ(decompress_Order(stream, 3, records, 2), 3);
    EXPECT_EQ(+records[0].chFlag1, 0x55);
    EXPECT_EQ(decompress_Order(stream, 4, nullptr, 2), 0);
    EXPECT_EQ(decompress_Order(stream, 0, records, 2), 0);
    // The bar codecs look at the source instead.
    EXPECT_EQ(decompress_KData(nullptr, 4, nullptr, 2), 0);
    EXPECT_EQ(decompress_KData(stream, -1, nullptr, 2), 0);
}

}  // namespace
