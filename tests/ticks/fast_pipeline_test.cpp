// The fast pipeline against the plain one, record for record: random bytes and proper streams,
// short, overlong and empty ones, lying item counts, range filter, maximum count and abort.
#include "ticks/fast_pipeline.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "codec/codecs.h"
#include "ticks/converters.h"

namespace qrx {
namespace {

using Random = std::mt19937;

int Below(Random& random, int n) {
    return static_cast<int>(random() % static_cast<unsigned>(n));
}

TEST(SkipIntegers, AsManySingleSteps) {
    Random random(2);
    int nFound = 0;
    for (int i = 0; i < 3000; ++i) {
        const int nLen = 1 + Below(random, 400);
        const std::unique_ptr<char[]> pStream(new char[static_cast<size_t>(nLen)]);
        // One-byte integers in every second stream, so that blocks of sixteen occur.
        for (int j = 0; j < nLen; ++j) pStream.get()[j] = static_cast<char>(i % 2 ? random() : 4);
        const int nSkip = Below(random, 150);
        const char* p = pStream.get();
        const char* pEnd = p + nLen;
        for (int j = 0; j < nSkip && p < pEnd; ++j) {
            long long nIgnored;
            char bytes[16] = {};
            memcpy(bytes, p, static_cast<size_t>(std::min<ptrdiff_t>(8, pEnd - p)));
            p += decompressData(nIgnored, bytes);
        }
        const char* pFound = codec::SkipIntegers(pStream.get(), pEnd, nSkip);
        nFound += pFound != nullptr;
        if (pFound != nullptr || p < pEnd) {
            ASSERT_EQ(pFound, p);
        }
    }
    EXPECT_GT(nFound, 300);
}

// -- Answers ----------------------------------------------------------------------------------

// Packet bodies as they come from the socket: exactly their size and the padding.
struct Answer {
    std::vector<std::unique_ptr<char[]>> vecOwner;
    std::vector<char*> vecPacket;
    std::vector<int> vecLen;

    void Add(const std::string& strBody) {
        vecOwner.emplace_back(new char[strBody.size() + limits::kBodyPadding]());
        memcpy(vecOwner.back().get(), strBody.data(), strBody.size());
        vecPacket.push_back(vecOwner.back().get());
        vecLen.push_back(static_cast<int>(strBody.size()));
    }
};

constexpr int kDates[] = {20240104, 20240105, 20240106};

template <class Body>
Body SomeRecord(Random& random) {
    Body body{};
    for (const codec::StreamField& field : codec::kStream<Body>) {
        constexpr int kBits[] = {0, 2, 6, 7, 15, 24, 31, 44};
        const int nBits = kBits[Below(random, field.nWidth == 8 ? 8 : 7)];
        auto n = static_cast<long long>((uint64_t{random()} << 32 | random()) >> (64 - nBits - 1));
        if (Below(random, 4) == 0) n = -n;
        codec::StoreField(reinterpret_cast<char*>(&body), field, n);
    }
    body.nTime = 90000000 + Below(random, 60) * 100000;
    if constexpr (requires { body.nDate; }) body.nDate = kDates[Below(random, 3)];
    return body;
}

template <class Head, class Body>
Answer SomeAnswer(Random& random) {
    Answer answer;
    const int nPackets = Below(random, 10);
    for (int i = 0; i < nPackets; ++i) {
        Head head{};
        memcpy(head.chCode, i % 3 == 0 ? "ru2405ab" : "600000", i % 3 == 0 ? 8 : 6);
        memcpy(head.chMarket, "SHF", 3);
        head.nDate = kDates[Below(random, 3)];
        // Mostly a few records; sometimes enough for a stream to be divided.
        int nRecords = Below(random, 8) == 0 ? Below(random, 400) : Below(random, 12);
        std::string strStream;
        if (Below(random, 3) == 0) {
            strStream.resize(static_cast<size_t>(
                Below(random, nRecords * static_cast<int>(codec::kStream<Body>.size()) * 5 + 1)));
            for (char& c : strStream) c = static_cast<char>(random());
        } else {
            for (int j = 0; j < nRecords; ++j) {
                EXPECT_TRUE(codec::EncodeRecord(SomeRecord<Body>(random), strStream));
            }
            if (Below(random, 4) == 0 && !strStream.empty()) {
                strStream.resize(random() % strStream.size());  // cut anywhere
            }
        }
        const int nLie = Below(random, 8);
        if (nLie == 0) nRecords = -Below(random, 100);
        if (nLie == 1) nRecords += Below(random, 50);  // the stream does not reach so far
        if (nLie == 2) nRecords /= 2;                  // the stream goes on
        head.nItems = nRecords;
        answer.Add(std::string(reinterpret_cast<const char*>(&head), sizeof head) + strStream);
    }
    return answer;
}

template <class HeadType, class BodyType, class RecordType, int nType>
struct Kind {
    using Head = HeadType;
    using Body = BodyType;
    using Record = RecordType;
    static constexpr int kType = nType;
};

using TickHead = ZPMDefine_TickData_Head;
using TradeHead = ZPMDefine_SaveData_Head;
using Kinds = ::testing::Types<
    Kind<TickHead, ZPMDefine_Tick_Night, QRXDefine_Tick, ID_ZPMTELE_TICK_NIGHT>,
    Kind<TickHead, ZPMDefine_Tick_AB_Night, QRXDefine_TickAB, ID_ZPMTELE_TICK_NIGHT>,
    Kind<TradeHead, ZPMDefine_Transaction_v2, QRXDefine_Transaction, ID_ZPMTELE_TRANSACTION_V2>,
    Kind<TradeHead, ZPMDefine_Order_v2, QRXDefine_Order, ID_ZPMTELE_ORDER_V2>,
    Kind<TradeHead, ZPMDefine_OrderQueue, QRXDefine_OrderQueue, ID_ZPMTELE_ORDERQUEUE_V2>,
    // The day forms leave bytes of the public record without a field.
    Kind<TickHead, ZPMDefine_TickData_AB_ACC_EX, QRXDefine_TickAB, ID_ZPMTELE_TICKKDATA_AB_ACC_EX>,
    Kind<TickHead, ZPMDefine_TickData_Index_ACC_EX, QRXDefine_TickAB,
         ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX>>;

template <class KindType>
class FastPipelineTest : public ::testing::Test {
public:
    using Head = typename KindType::Head;
    using Body = typename KindType::Body;
    using Record = typename KindType::Record;

    // One record more than the pipeline has room for, which it may not write.
    using Array = std::unique_ptr<Record[]>;
    static Array NewArray(int nMax) {
        const size_t nRecords = static_cast<size_t>(nMax) + 1;
        Array pArray(new Record[nRecords]);
        memset(static_cast<void*>(pArray.get()), 0xCD, nRecords * sizeof(Record));
        return pArray;
    }
    static bool Untouched(const Record& record) {
        const std::string strPoison(sizeof record, '\xCD');
        return memcmp(&record, strPoison.data(), sizeof record) == 0;
    }

    // An answer and all its records as the plain pipeline gives them.
    struct Whole {
        Answer answer;
        int nAll = 0;
        Array pAll;
    };
    Whole SomeWhole(Random& random) {
        Whole whole{SomeAnswer<Head, Body>(random), 0, {}};
        for (const char* p : whole.answer.vecPacket) {
            whole.nAll += std::max(HeadOf<Head>(p).nItems, 0);
        }
        whole.pAll = NewArray(whole.nAll);
        EXPECT_EQ(Plain(whole.answer, whole.pAll.get(), whole.nAll, {}), whole.nAll);
        return whole;
    }

    static int Decode(char* p, int nLen, Body* pBodies, int nMax) {
        return codec::DecodeStream(p, nLen, pBodies, nMax);
    }
    int Plain(const Answer& answer, Record* pArray, int nMax, const RangeFilter& f) {
        return m_source.DecompressRawVec<Head>(
            pArray, nMax, answer.vecPacket, answer.vecLen, &Decode, &codec::Convert<Body, Record>,
            KindType::kType, f.nBeginDate, f.nEndDate, f.nBeginTime, f.nEndTime, nullptr);
    }
    int Fast(const Answer& answer, Record* pArray, int nMax, const RangeFilter& f) {
        return m_source.DecompressFast<Head>(
            pArray, nMax, answer.vecPacket, answer.vecLen, &Decode, &codec::Convert<Body, Record>,
            KindType::kType, f.nBeginDate, f.nEndDate, f.nBeginTime, f.nEndTime, nullptr);
    }
    template <class Quit>
    static int FastUntil(const Answer& answer, Record* pArray, int nMax, Quit quit) {
        FastPipeline<Head, Body, Record, Quit> pipeline(pArray, nMax, RangeFilter{}, quit);
        return pipeline.Run(answer.vecPacket, answer.vecLen);
    }

    // Bounds on the dates and times that the records have, on random ones for random bytes.
    static RangeFilter SomeFilter(Random& random, const Whole& whole) {
        const auto one = [&] { return whole.pAll.get()[Below(random, whole.nAll)]; };
        const auto date = [&]() -> int {
            const int nKind = Below(random, 3);
            if (nKind == 1) return kDates[Below(random, 3)];
            return nKind == 2 && whole.nAll > 0 ? one().nDate : 0;
        };
        const auto time = [&]() -> int {
            if (Below(random, 2) == 0) return 0;
            return whole.nAll > 0 ? one().nTime : 93000000;
        };
        return {date(), date(), time(), time()};
    }

    MarketDataSource m_source;
};
TYPED_TEST_SUITE(FastPipelineTest, Kinds);

TYPED_TEST(FastPipelineTest, AsThePlainOne) {
    Random random(3);
    int nDropped = 0;
    int nCut = 0;
    for (int i = 0; i < 1200; ++i) {
        SCOPED_TRACE(i);
        const auto whole = this->SomeWhole(random);
        const auto filter = i % 4 == 0 ? RangeFilter{} : this->SomeFilter(random, whole);
        const int nMax = Below(random, 3) == 0 ? Below(random, whole.nAll + 5) : whole.nAll;
        const auto pPlain = this->NewArray(nMax);
        const auto pFast = this->NewArray(nMax);
        const int nPlain = this->Plain(whole.answer, pPlain.get(), nMax, filter);
        ASSERT_EQ(this->Fast(whole.answer, pFast.get(), nMax, filter), nPlain);
        nDropped += nPlain < whole.nAll && nMax >= whole.nAll;
        nCut += nPlain == nMax && nMax < whole.nAll;
        for (int j = 0; j < nPlain; ++j) {
            ASSERT_EQ(memcmp(pFast.get() + j, pPlain.get() + j, sizeof pFast[0]), 0)
                << "record " << j;
        }
        ASSERT_TRUE(this->Untouched(pFast.get()[nMax]));
    }
    EXPECT_GT(nDropped, 100);
    EXPECT_GT(nCut, 50);
}

// Stopped at every look at the flag in turn: what is returned is the beginning of the whole result,
// and nothing once the session is closed.
TYPED_TEST(FastPipelineTest, StoppedAnywhere) {
    Random random(4);
    int nPartial = 0;
    for (int i = 0; i < 60; ++i) {
        const auto whole = this->SomeWhole(random);
        for (int nLooks = 0, nLooked = 0; nLooks < 200 && nLooked >= nLooks; ++nLooks) {
            SCOPED_TRACE(testing::Message() << "answer " << i << ", look " << nLooks);
            nLooked = 0;
            const auto pFast = this->NewArray(whole.nAll);
            const int nFast = this->FastUntil(whole.answer, pFast.get(), whole.nAll,
                                              [&] { return nLooked++ >= nLooks; });
            ASSERT_LE(nFast, whole.nAll);
            ASSERT_EQ(
                memcmp(pFast.get(), whole.pAll.get(), static_cast<size_t>(nFast) * sizeof pFast[0]),
                0);
            nPartial += nFast > 0 && nFast < whole.nAll;
            if (nLooked <= nLooks) ASSERT_EQ(nFast, whole.nAll);
        }
    }
    EXPECT_GT(nPartial, 5);
    auto whole = this->SomeWhole(random);
    while (whole.nAll == 0) whole = this->SomeWhole(random);
    this->m_source.Close();
    EXPECT_EQ(this->Plain(whole.answer, whole.pAll.get(), whole.nAll, {}), 0);
    EXPECT_EQ(this->Fast(whole.answer, whole.pAll.get(), whole.nAll, {}), 0);
}

}  // namespace
}  // namespace qrx
