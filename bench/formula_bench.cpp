// Functions over a million rows: the time of a window of 500 over that of a window of 5, which
// is 1 where the window does not matter. items/s are rows at 5.
#include <vector>

#include "compare.h"
#include "formula/functions.h"

namespace {

using qrx::server::formula::WindowFunction;

constexpr size_t kRows = 1'000'000;

// Prices that wander by fractions.
std::vector<double> Prices() {
    qrx::bench::Random random(5);
    std::vector<double> prices(kRows);
    double f = 100000;
    for (double& price : prices) price = f += (random.Below(2001) - 1000) / 7.0;
    return prices;
}

void Windows(benchmark::State& state, const WindowFunction& function) {
    static const std::vector<double> prices = Prices();
    std::vector<double> out(kRows);
    const auto with = [&](size_t nWindow) {
        return [&, nWindow] {
            benchmark::DoNotOptimize(function.pfn({prices.data(), kRows, 0}, nWindow, out.data(),
                                                  *std::pmr::new_delete_resource()));
        };
    };
    qrx::bench::Compare(state, with(500), with(5));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kRows));
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const WindowFunction& function : qrx::server::formula::WindowFunctions()) {
        benchmark::RegisterBenchmark(function.szName, Windows, function)
            ->UseManualTime()
            ->Iterations(15)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
