// Index values and bars from the ticks of the stocks, which all come at the same times.
#include "simulate/index_day.h"

#include "simulate/tally.h"
#include "support/date_time.h"

namespace qrx::simulate {
namespace {

// Of the constituents' prices, as pfnPrice gives them, in units of the index.
template <class PriceOf>
int Level(const Instrument& index, const std::vector<Constituent>& vecConstituents,
          PriceOf&& priceOf) {
    constexpr int64_t kOne = 1000000000;
    int64_t nSum = 0;
    for (const Constituent& constituent : vecConstituents) {
        nSum += priceOf(constituent) * kOne / constituent.pStock->nBasePrice;
    }
    const int64_t nMean = nSum / static_cast<int64_t>(vecConstituents.size());
    return static_cast<int>(index.nBasePrice * nMean / kOne / index.nTick * index.nTick);
}

const Segment& SegmentAt(const std::vector<Segment>& vecSegments, int nMs) {
    size_t i = 0;
    while (nMs > vecSegments[i].nEnd) i++;
    return vecSegments[i];
}

}  // namespace

Day MakeIndexDay(const Instrument& index, const std::vector<Constituent>& vecConstituents,
                 const std::vector<Segment>& vecSegments, int nTradingDay) {
    Day day;
    day.nTradingDay = nTradingDay;
    day.nPrevClose = Level(index, vecConstituents, [](const Constituent& constituent) {
        return int64_t{constituent.day.nPrevClose};
    });

    Tally tally;
    const size_t nTicks = vecConstituents.front().day.vecTicks.size();
    for (size_t i = 0; i < nTicks; i++) {
        ZPMDefine_Tick_AB_Night record = {};
        int64_t iVolume = 0;
        int64_t iTurnover = 0;
        int nTrades = 0;
        for (const Constituent& constituent : vecConstituents) {
            const ZPMDefine_Tick_AB_Night& tick = constituent.day.vecTicks[i];
            // A stock that has not traded yet counts with its previous close.
            const int nPrice = tick.nPrice != 0 ? tick.nPrice : constituent.day.nPrevClose;
            const int nPrev = constituent.day.nPrevClose;
            record.nIndexField[nPrice > nPrev ? 0 : nPrice < nPrev ? 1 : 2]++;
            iVolume += tick.iVolume;
            iTurnover += tick.iTurnover;
            nTrades += tick.nTickField1;
        }
        const ZPMDefine_Tick_AB_Night& model = vecConstituents.front().day.vecTicks[i];
        record.nDate = model.nDate;
        record.nTime = model.nTime;
        record.nPrice = Level(index, vecConstituents, [i](const Constituent& constituent) {
            const int nPrice = constituent.day.vecTicks[i].nPrice;
            return int64_t{nPrice != 0 ? nPrice : constituent.day.nPrevClose};
        });
        record.chTickFlag1 = model.chTickFlag1;

        // The tick covers what came before it: its last millisecond tells its bar.
        const int nMs = BusinessConvertor::HHMMSSmmm2MiniSeconds(record.nTime);
        tally.Add(SegmentAt(vecSegments, nMs), nMs - 1, record.nPrice, iVolume, iTurnover,
                  nTrades - tally.Total().nMatchItems, 0);
        const ZPMDefine_KData& total = tally.Total();
        record.iVolume = iVolume;
        record.iTurnover = iTurnover;
        record.nTickField1 = nTrades;
        record.iAccVolume = total.iVolume;
        record.iAccTurnover = total.iTurnover;
        record.nExt[0] = total.nOpen;
        record.nExt[1] = total.nHigh;
        record.nExt[2] = total.nLow;
        record.nExt[3] = day.nPrevClose;
        day.vecTicks.push_back(record);
    }
    day.vecMinutes = tally.TakeMinutes();
    day.daily = tally.Total();
    day.daily.nDate = nTradingDay;
    return day;
}

}  // namespace qrx::simulate
