// The simulate command: fills a store with markets of the simulator, all or nothing.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <map>
#include <memory>

#include "commands.h"
#include "import/progress.h"
#include "import/values.h"
#include "simulate/simulator.h"
#include "store/day_stream.h"

namespace qrx::server {
namespace {

struct SimulateArguments {
    std::string strDb;
    simulate::Options options;
};

// Wherever this machine is: eight hours ahead of UTC.
int TodayAtExchange() {
    using namespace std::chrono;
    const year_month_day date(floor<days>(system_clock::now() + hours(8)));
    return static_cast<int>(date.year()) * 10000 +
           static_cast<int>(static_cast<unsigned>(date.month())) * 100 +
           static_cast<int>(static_cast<unsigned>(date.day()));
}

void StoreDay(Store& store, const simulate::Instrument& instrument, const simulate::Day& day) {
    const DayKey key{instrument.strMarket, instrument.strCode, day.nTradingDay};
    if (instrument.IsContract()) {
        PutRecords(store, key, std::span<const ZPMDefine_Future_AB_Night>(day.vecSnapshots),
                   DayReference{day.nPrevSettle, day.nPrevClose, day.nPrevInterest});
    } else {
        PutRecords(store, key, std::span<const ZPMDefine_Tick_AB_Night>(day.vecTicks));
    }
    if (instrument.IsStock()) {
        PutRecords(store, key, day.vecTrades);
        PutRecords(store, key, day.vecOrders);
        PutRecords(store, key, day.vecQueues);
    }
    PutRecords(store, DayKind::MinuteBar, key, std::span<const ZPMDefine_KData>(day.vecMinutes));
}

// Daily bars stand together by year: a year's are read, replaced day by day, and written back.
void StoreDailyBars(Store& store, const simulate::Instrument& instrument,
                    const std::vector<ZPMDefine_KData>& vecDaily) {
    std::map<int, std::map<int, ZPMDefine_KData>> years;
    for (const ZPMDefine_KData& bar : vecDaily) years[bar.nDate / 10000 * 10000][bar.nDate] = bar;
    for (auto& [nYear, bars] : years) {
        const DayKey key{instrument.strMarket, instrument.strCode, nYear};
        for (const auto& part : ReadRecords<ZPMDefine_KData>(store, key, DayKind::DailyBar)) {
            for (const ZPMDefine_KData& bar : part.vecRecords) bars.emplace(int{bar.nDate}, bar);
        }
        std::vector<ZPMDefine_KData> all;
        for (const auto& [nDate, bar] : bars) all.push_back(bar);
        PutRecords(store, DayKind::DailyBar, key, std::span<const ZPMDefine_KData>(all));
    }
}

// Its progress is gone from the terminal when it returns.
void StoreDays(Store& store, simulate::Simulator& simulator) {
    ProgressBar progress("simulating", isatty(STDERR_FILENO) != 0);
    const size_t nAll = simulator.Instruments().size() * simulator.TradingDays().size();
    size_t nDone = 0;
    for (const auto& instrument : simulator.Instruments()) {
        std::vector<ZPMDefine_KData> vecDaily;
        for (const int nDay : simulator.TradingDays()) {
            const simulate::Day day = simulator.RunDay(instrument, nDay);
            StoreDay(store, instrument, day);
            vecDaily.push_back(day.daily);
            ++nDone;
            progress.Show(static_cast<double>(nDone) / static_cast<double>(nAll),
                          static_cast<int64_t>(nDone));
        }
        StoreDailyBars(store, instrument, vecDaily);
    }
}

void Simulate(const SimulateArguments& arguments) {
    simulate::Options options = arguments.options;
    if (options.nEndDate == 0) options.nEndDate = TodayAtExchange();
    if (!IsCalendarDate(options.nEndDate)) {
        throw StoreError("--end is not a date; a date is written like 20240105");
    }
    const std::vector<std::string> vecKnown = simulate::Simulator::Markets();
    for (std::string& strMarket : options.vecMarkets) {
        std::transform(strMarket.begin(), strMarket.end(), strMarket.begin(), ::toupper);
        if (std::find(vecKnown.begin(), vecKnown.end(), strMarket) == vecKnown.end()) {
            throw StoreError("--market: there is no simulated market " + strMarket);
        }
    }
    const std::unique_ptr<Store> pStore = OpenSqliteStore(arguments.strDb);
    Store::Batch batch(*pStore);
    simulate::Simulator simulator(options);
    std::map<std::string, std::vector<CodeRow>> tables;
    for (const auto& instrument : simulator.Instruments()) {
        tables[instrument.strMarket].push_back(
            {instrument.strCode, instrument.strName, instrument.nType});
    }
    for (const auto& [strMarket, vecCodes] : tables) pStore->PutCodes(strMarket, vecCodes);

    StoreDays(*pStore, simulator);
    batch.Commit();
    std::cout << "simulated " << simulator.Instruments().size() << " securities from "
              << simulator.TradingDays().front() << " to " << simulator.TradingDays().back()
              << "\n";
}

}  // namespace

void AddSimulateCommand(CLI::App& app) {
    const auto p = std::make_shared<SimulateArguments>();
    CLI::App* pCommand = app.add_subcommand(
        "simulate", "Fill a store with simulated markets; the same seed gives the same bytes");
    pCommand->add_option("--db", p->strDb, "The store's file")->required()->type_name("FILE");
    pCommand->add_option("--seed", p->options.iSeed, "Seed (1)")->type_name("N");
    pCommand->add_option("--days", p->options.nDays, "Trading days (1)")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N");
    pCommand->add_option("--end", p->options.nEndDate, "Last day (today at the exchange)")
        ->type_name("YYYYMMDD");
    pCommand->add_option("--market", p->options.vecMarkets, "Markets, such as SH,SZ,SHF (all)")
        ->delimiter(',')
        ->type_name("A,B");
    pCommand->callback([p] { Simulate(*p); });
}

}  // namespace qrx::server
