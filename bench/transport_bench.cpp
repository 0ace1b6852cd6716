// An answer in bodies of 64 KB, received over loopback and handed out through RecvN, against a
// bare loop of recv into one reused buffer. Small and large answers: the rate per byte must not
// fall with the size.
#include <memory>

#include "compare.h"
#include "loopback.h"
#include "session/transport.h"

namespace qrx::bench {
namespace {

constexpr size_t kBody = size_t{64} << 10;
constexpr int kTurns = 15;

// Each connection: reads a byte, then sends as many bodies as the connection was opened for.
void Serve(int fd) {
    static const std::unique_ptr<char[]> pBody(new char[kBody]());
    uint32_t nBodies = 0;
    while (ReadAll(fd, &nBodies, sizeof nBodies)) {
        for (uint32_t i = 0; i < nBodies; ++i) {
            if (!WriteAll(fd, pBody.get(), kBody)) return;
        }
    }
}

double BareLoop(const LoopbackServer& server, uint32_t nBodies) {
    const Descriptor fd = server.Connect();
    const std::unique_ptr<char[]> pBuffer(new char[kBody]());
    return Seconds([&] {
        WriteAll(fd.Get(), &nBodies, sizeof nBodies);
        for (uint32_t i = 0; i < nBodies; ++i) {
            if (!ReadAll(fd.Get(), pBuffer.get(), kBody)) abort();
        }
    });
}

double Transport(const LoopbackServer& server, uint32_t nBodies) {
    SynNKNetWork net(60);
    if (net.Connect(htonl(INADDR_LOOPBACK), server.Port()) != 1) abort();
    const std::unique_ptr<char[]> pBuffer(new char[kBody]());
    return Seconds([&] {
        net.SendN(&nBodies, sizeof nBodies);
        for (uint32_t i = 0; i < nBodies; ++i) {
            if (net.RecvN(pBuffer.get(), static_cast<int>(kBody)) < 0) abort();
        }
    });
}

void OfBareLoop(benchmark::State& state) {
    const LoopbackServer server(&Serve);
    const auto nBodies = static_cast<uint32_t>(state.range(0) * 1000000 / int64_t{kBody});
    CompareTimed(
        state, [&] { return BareLoop(server, nBodies); },
        [&] { return Transport(server, nBodies); });
}

// Rate per byte of 200 MB over that of 25 MB.
void LargeOfSmall(benchmark::State& state) {
    const LoopbackServer server(&Serve);
    CompareTimed(
        state, [&] { return 8 * Transport(server, 381); }, [&] { return Transport(server, 3051); });
}

BENCHMARK(OfBareLoop)
    ->Arg(25)
    ->Arg(200)
    ->UseManualTime()
    ->Iterations(kTurns)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LargeOfSmall)->UseManualTime()->Iterations(kTurns)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qrx::bench

BENCHMARK_MAIN();
