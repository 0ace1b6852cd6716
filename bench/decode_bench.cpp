// Record streams to server records: the lockstep decoder against the obvious one, and against a
// memcpy of the bytes that it writes. Answers of sixteen packets, and of a single one.
#include "streams.h"

namespace qrx::bench {
namespace {

constexpr int kTurns = 41;
// Decoded bytes of an answer: a day of a busy security.
constexpr size_t kAnswerBytes = size_t{8} << 20;
// And one that no cache holds twice: a memcpy within a cache is another yardstick.
constexpr size_t kBeyondCacheBytes = size_t{48} << 20;

template <class Body>
void Decode(const Streams& streams, std::vector<Body>& records) {
    std::vector<codec::StreamCursor> cursors(streams.vecStream.size());
    Body* pDst = records.data();
    for (size_t i = 0; i < cursors.size(); ++i) {
        const char* p = streams.vecStream[i].data();
        cursors[i] = {p, p + streams.Length(i), reinterpret_cast<char*>(pDst),
                      streams.vecRecords[i]};
        pDst += streams.vecRecords[i];
    }
    codec::DecodeStreams<Body>(cursors.data(), cursors.size());
}

template <class Body>
void DecodeObviously(Streams& streams, std::vector<Body>& records) {
    Body* pDst = records.data();
    for (size_t i = 0; i < streams.vecStream.size(); ++i) {
        DecodeObvious(streams.vecStream[i].data(), streams.Length(i), pDst, streams.vecRecords[i]);
        pDst += streams.vecRecords[i];
    }
}

template <class Body>
void AgainstObvious(benchmark::State& state, Streams (*pfnMake)(int, int), int nStreams) {
    const auto nEach =
        static_cast<int>(kAnswerBytes / sizeof(Body) / static_cast<size_t>(nStreams));
    Streams streams = pfnMake(nStreams, nEach);
    std::vector<Body> obvious(streams.nRecords);
    std::vector<Body> fast(streams.nRecords);
    Compare(
        state, [&] { DecodeObviously(streams, obvious); }, [&] { Decode(streams, fast); });
    if (memcmp(obvious.data(), fast.data(), fast.size() * sizeof(Body)) != 0) {
        state.SkipWithError("the decoders differ");
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<int64_t>(streams.nRecords * codec::kStream<Body>.size()));
}

template <class Body>
void AgainstMemcpy(benchmark::State& state, int nStreams, size_t nBytes) {
    const auto nEach = static_cast<int>(nBytes / sizeof(Body) / static_cast<size_t>(nStreams));
    const Streams streams = Realistic<Body>(nStreams, nEach);
    std::vector<Body> fast(streams.nRecords);
    std::vector<Body> copy(streams.nRecords);
    Compare(
        state,
        [&] { memcpy(static_cast<void*>(copy.data()), fast.data(), fast.size() * sizeof(Body)); },
        [&] { Decode(streams, fast); });
}

template <class Body>
void Register(const std::string& strName) {
    const auto add = [&](const std::string& strCase, auto run) {
        benchmark::RegisterBenchmark((strName + "/" + strCase).c_str(), run)
            ->UseManualTime()
            ->Iterations(kTurns)
            ->Unit(benchmark::kMicrosecond);
    };
    add("times_obvious",
        [](benchmark::State& s) { AgainstObvious<Body>(s, &Realistic<Body>, 16); });
    add("times_obvious_random_lengths",
        [](benchmark::State& s) { AgainstObvious<Body>(s, &RandomLengths<Body>, 16); });
    add("times_obvious_one_packet",
        [](benchmark::State& s) { AgainstObvious<Body>(s, &Realistic<Body>, 1); });
    add("of_memcpy", [](benchmark::State& s) { AgainstMemcpy<Body>(s, 16, kBeyondCacheBytes); });
    add("of_memcpy_in_cache",
        [](benchmark::State& s) { AgainstMemcpy<Body>(s, 16, kAnswerBytes); });
}

}  // namespace
}  // namespace qrx::bench

int main(int argc, char** argv) {
    using qrx::bench::Register;
    benchmark::Initialize(&argc, argv);
    Register<ZPMDefine_Tick_AB_Night>("Tick_AB_Night");
    Register<ZPMDefine_Tick_Night>("Tick_Night");
    Register<ZPMDefine_Transaction_v2>("Transaction_v2");
    Register<ZPMDefine_Order_v2>("Order_v2");
    Register<ZPMDefine_OrderQueue>("OrderQueue");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
