// QRX_GetTransaction of ten million records of one day, from a server that sends ready bytes,
// against receiving the same bytes raw and decoding them in a tight loop. Also the peak memory of
// the process above what the result and the packets take.
#include <qrx/qrx.h>

#include <cstdio>
#include <cstring>

#include "compare.h"
#include "ready_server.h"

namespace qrx::bench {
namespace {

constexpr int kRecords = 10000000;
constexpr int kTurns = 11;

// The line of /proc/self/status that starts with szName, in bytes.
double StatusBytes(const char* szName) {
    FILE* pFile = fopen("/proc/self/status", "r");
    if (pFile == nullptr) return 0;
    char szLine[256];
    double nBytes = 0;
    while (fgets(szLine, sizeof szLine, pFile) != nullptr) {
        if (strncmp(szLine, szName, strlen(szName)) == 0) {
            nBytes = 1024 * atof(szLine + strlen(szName));
        }
    }
    fclose(pFile);
    return nBytes;
}

// Starts a new peak: what the process holds now.
void ResetPeak() {
    FILE* pFile = fopen("/proc/self/clear_refs", "w");
    if (pFile == nullptr) return;
    fputs("5", pFile);
    fclose(pFile);
}

void OfRawReceiving(benchmark::State& state) {
    const ReadyServer server({kRecords});
    const ReadySession session(server.Port());
    const double nNeeded = static_cast<double>(server.Answer(0).strBytes.size()) +
                           double{kRecords} * sizeof(QRXDefine_Transaction);
    double nPeakExtra = 0;
    const auto raw = [&] {
        return Seconds([&] {
            if (TakeRaw(server, 0) != kRecords) abort();
        });
    };
    const auto request = [&] {
        HaveMemoryAtHand(static_cast<size_t>(1.1 * nNeeded));
        ResetPeak();
        const double nBefore = StatusBytes("VmRSS:");
        const double nSeconds = Seconds([&] {
            if (session.Transactions(0, 20240101, 20240101).nCount != kRecords) abort();
        });
        nPeakExtra = std::max(nPeakExtra, StatusBytes("VmHWM:") - nBefore - nNeeded);
        return nSeconds;
    };
    CompareTimed(state, raw, request);
    state.counters["MB_above_result_and_packets"] = nPeakExtra / 1e6;
}
BENCHMARK(OfRawReceiving)->UseManualTime()->Iterations(kTurns)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qrx::bench

BENCHMARK_MAIN();
