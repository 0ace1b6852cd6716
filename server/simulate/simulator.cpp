// Puts path, sessions, flow and index together.
#include "simulate/simulator.h"

#include <algorithm>

#include "simulate/index_day.h"
#include "simulate/order_flow.h"
#include "simulate/price_path.h"
#include "simulate/random.h"
#include "simulate/sessions.h"

namespace qrx::simulate {

Simulator::Simulator(const Options& options)
    : m_iSeed(options.iSeed), m_vecUniverse(MakeUniverse(options.nEndDate)) {
    for (const Instrument& instrument : m_vecUniverse) {
        const auto& vecMarkets = options.vecMarkets;
        if (vecMarkets.empty() || std::find(vecMarkets.begin(), vecMarkets.end(),
                                            instrument.strMarket) != vecMarkets.end()) {
            m_vecInstruments.push_back(instrument);
        }
    }
    int nDate = ThisOrPrevWeekday(options.nEndDate);
    for (int i = 0; i < options.nDays; i++, nDate = PrevWeekday(nDate)) m_vecDays.push_back(nDate);
    std::reverse(m_vecDays.begin(), m_vecDays.end());
}

std::vector<std::string> Simulator::Markets() {
    std::vector<std::string> vecMarkets;
    for (const Instrument& instrument : MakeUniverse(20240102)) {
        if (vecMarkets.empty() || vecMarkets.back() != instrument.strMarket) {
            vecMarkets.push_back(instrument.strMarket);
        }
    }
    return vecMarkets;
}

Day Simulator::RunDay(const Instrument& instrument, int nTradingDay) {
    if (instrument.IsIndex()) return RunIndex(instrument, nTradingDay);
    Day day = RunFlow(instrument, nTradingDay);
    if (instrument.IsContract()) {
        const int nPrevDay = PrevWeekday(nTradingDay);
        auto& [nSettleDay, nSettle] = m_mapSettle[{instrument.strMarket, instrument.strCode}];
        day.nPrevSettle = nSettleDay == nPrevDay ? nSettle : RunFlow(instrument, nPrevDay).nSettle;
        nSettleDay = nTradingDay;
        nSettle = day.nSettle;
    }
    return day;
}

Day Simulator::RunFlow(const Instrument& instrument, int nTradingDay) const {
    const int nPrevDay = PrevWeekday(nTradingDay);
    const DayPlan plan = {
        SegmentsOf(instrument, nTradingDay), CloseOf(instrument, m_iSeed, nPrevDay),
        CloseOf(instrument, m_iSeed, nTradingDay), InterestOf(instrument, m_iSeed, nPrevDay),
        InterestOf(instrument, m_iSeed, nTradingDay)};
    Day day;
    day.nTradingDay = nTradingDay;
    day.nPrevClose = plan.nPrevClose;
    day.nPrevInterest = plan.nPrevInterest;
    OrderFlow(instrument, plan, RandomOf(instrument, m_iSeed, nTradingDay, "flow"), day).Run();
    return day;
}

Day Simulator::RunIndex(const Instrument& index, int nTradingDay) const {
    std::vector<Constituent> vecConstituents;
    for (const Instrument& stock : m_vecUniverse) {
        if (stock.IsStock() && stock.strMarket == index.strMarket) {
            vecConstituents.push_back({&stock, RunFlow(stock, nTradingDay)});
        }
    }
    return MakeIndexDay(index, vecConstituents, SegmentsOf(index, nTradingDay), nTradingDay);
}

}  // namespace qrx::simulate
