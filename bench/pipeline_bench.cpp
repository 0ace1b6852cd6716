// Packet bodies to public records: the fast pipeline against a memcpy of the public bytes, against
// the two-step way (scratch array, obvious decode, convert), and into fresh memory. No record is
// filtered.
#include "session/data_source.h"
#include "store/packet_size.h"
#include "streams.h"
#include "support/result_memory.h"
#include "ticks/converters.h"
#include "ticks/fast_pipeline.h"

namespace qrx::bench {
namespace {

constexpr int kTurns = 31;
constexpr int kDate = 20240105;

// An answer as the session collects it.
template <class Head, class Body>
struct Answer {
    Answer(size_t nRecordBytes, size_t nAnswerBytes, int nPackets) {
        Streams streams = Realistic<Body>(
            nPackets,
            static_cast<int>(nAnswerBytes / nRecordBytes / static_cast<size_t>(nPackets)));
        nRecords = static_cast<int>(streams.nRecords);
        for (size_t i = 0; i < streams.vecStream.size(); ++i) {
            Head head{};
            memcpy(head.chCode, "600000", 6);
            memcpy(head.chMarket, "SH", 2);
            head.nDate = kDate;
            head.nItems = streams.vecRecords[i];
            vecBody.push_back(std::string(reinterpret_cast<const char*>(&head), sizeof head) +
                              streams.vecStream[i]);
        }
        for (std::string& strBody : vecBody) {
            vecPacket.push_back(strBody.data());
            vecLen.push_back(static_cast<int>(strBody.size() - limits::kBodyPadding));
        }
    }
    std::vector<std::string> vecBody;
    std::vector<char*> vecPacket;
    std::vector<int> vecLen;
    int nRecords = 0;
};

template <class HeadType, class BodyType, class RecordType, int nType>
struct Kind {
    using Head = HeadType;
    using Body = BodyType;
    using Record = RecordType;

    static int Fast(const Answer<Head, Body>& answer, Record* pArray) {
        static MarketDataSource source;
        return source.DecompressFast<Head>(pArray, answer.nRecords, answer.vecPacket, answer.vecLen,
                                           &DecodeObvious<Body>, &codec::Convert<Body, Record>,
                                           nType, kDate, kDate, 0, 0, nullptr);
    }
    // A scratch array for the whole packet, the obvious decoder, one conversion a record.
    static int TwoSteps(const Answer<Head, Body>& answer, Record* pArray) {
        const RangeFilter filter{kDate, kDate, 0, 0};
        const RecordClock clock = ClockOf(nType);
        int nCount = 0;
        for (size_t i = 0; i < answer.vecPacket.size(); ++i) {
            const Head head = HeadOf<Head>(answer.vecPacket[i]);
            const std::unique_ptr<Body[]> pScratch(new Body[static_cast<size_t>(head.nItems)]());
            DecodeObvious(answer.vecPacket[i] + sizeof head,
                          answer.vecLen[i] - static_cast<int>(sizeof head), pScratch.get(),
                          head.nItems);
            const std::string strVelaCode = BusinessConvertor::GetVelaCode(
                head.chCode, sizeof head.chCode, head.chMarket, sizeof head.chMarket);
            const std::string strCode = FieldText(head.chCode);
            for (int j = 0; j < head.nItems; ++j) {
                Body& body = pScratch[static_cast<size_t>(j)];
                const int nTime = SettleTime(&body, clock);
                const int nDate =
                    clock.nDateWord < 0 ? HeadDate(head) : LoadWord(&body, clock.nDateWord);
                if (filter.Drops(nDate, nTime)) continue;
                codec::Convert(body, pArray[nCount++], nDate, strVelaCode, strCode);
            }
        }
        return nCount;
    }
};

constexpr size_t kWarmBytes = size_t{16} << 20;
constexpr size_t kFreshBytes = size_t{96} << 20;

template <class K>
void OfMemcpy(benchmark::State& state) {
    const Answer<typename K::Head, typename K::Body> answer(sizeof(typename K::Record), kWarmBytes,
                                                            16);
    std::vector<typename K::Record> records(static_cast<size_t>(answer.nRecords));
    std::vector<typename K::Record> copy(records.size());
    Compare(
        state,
        [&] {
            memcpy(static_cast<void*>(copy.data()), records.data(),
                   records.size() * sizeof records[0]);
        },
        [&] { K::Fast(answer, records.data()); });
}

template <class K>
void TimesTwoSteps(benchmark::State& state) {
    const Answer<typename K::Head, typename K::Body> answer(sizeof(typename K::Record), kWarmBytes,
                                                            16);
    std::vector<typename K::Record> fast(static_cast<size_t>(answer.nRecords));
    std::vector<typename K::Record> plain(fast.size());
    Compare(
        state, [&] { K::TwoSteps(answer, plain.data()); }, [&] { K::Fast(answer, fast.data()); });
    if (memcmp(fast.data(), plain.data(), fast.size() * sizeof fast[0]) != 0) {
        state.SkipWithError("the pipelines differ");
    }
}

// Time into a fresh array over time into one that was written before: the inverse of the others,
// so the fresh array is the yardstick.
template <class K>
void FreshOverWarm(benchmark::State& state) {
    using KindAnswer = Answer<typename K::Head, typename K::Body>;
    // In packets as large as the server's.
    constexpr size_t kPiece = size_t{1} << 20;
    const KindAnswer piece(sizeof(typename K::Record), kPiece, 1);
    const auto nPackets =
        kFreshBytes / kPiece * static_cast<size_t>(piece.vecLen[0]) / server::kPacketBytes + 1;
    const KindAnswer answer(sizeof(typename K::Record), kFreshBytes, static_cast<int>(nPackets));
    auto* pWarm = NewResult<typename K::Record>(answer.nRecords);
    const auto fresh = [&] {
        auto* pFresh = NewResult<typename K::Record>(answer.nRecords);
        const double nSeconds = ThreadSeconds([&] { K::Fast(answer, pFresh); });
        FreeResult(pFresh);
        return nSeconds;
    };
    CompareTimed(state, fresh, [&] { return ThreadSeconds([&] { K::Fast(answer, pWarm); }); });
    FreeResult(pWarm);
}

template <class K>
void Register(const std::string& strName) {
    const auto add = [&](const char* szCase, void (*run)(benchmark::State&)) {
        benchmark::RegisterBenchmark((strName + szCase).c_str(), run)
            ->UseManualTime()
            ->Iterations(kTurns)
            ->Unit(benchmark::kMicrosecond);
    };
    add("/of_memcpy", &OfMemcpy<K>);
    add("/times_two_steps", &TimesTwoSteps<K>);
    add("/fresh_over_warm", &FreshOverWarm<K>);
}

}  // namespace
}  // namespace qrx::bench

int main(int argc, char** argv) {
    using namespace qrx::bench;
    benchmark::Initialize(&argc, argv);
    Register<Kind<ZPMDefine_TickData_Head, ZPMDefine_Tick_AB_Night, QRXDefine_TickAB,
                  ID_ZPMTELE_TICK_NIGHT>>("TickAB");
    Register<
        Kind<ZPMDefine_TickData_Head, ZPMDefine_Tick_Night, QRXDefine_Tick, ID_ZPMTELE_TICK_NIGHT>>(
        "Tick");
    Register<Kind<ZPMDefine_SaveData_Head, ZPMDefine_Transaction_v2, QRXDefine_Transaction,
                  ID_ZPMTELE_TRANSACTION_V2>>("Transaction");
    Register<
        Kind<ZPMDefine_SaveData_Head, ZPMDefine_Order_v2, QRXDefine_Order, ID_ZPMTELE_ORDER_V2>>(
        "Order");
    Register<Kind<ZPMDefine_SaveData_Head, ZPMDefine_OrderQueue, QRXDefine_OrderQueue,
                  ID_ZPMTELE_ORDERQUEUE_V2>>("OrderQueue");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
