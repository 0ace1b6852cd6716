// The daily path: a weighted sum of the last moves, so that prices wander and still come back.
#include "simulate/price_path.h"

#include <algorithm>

#include "simulate/random.h"
#include "simulate/sessions.h"

namespace qrx::simulate {

Random RandomOf(const Instrument& instrument, uint64_t iSeed, int nDate, const char* szUse) {
    return Random(iSeed, instrument.strMarket + "/" + instrument.strCode + "/" + szUse, nDate);
}

int CloseOf(const Instrument& instrument, uint64_t iSeed, int nDate) {
    // Move k days ago counts (63/64)^k; after 400 days a move is forgotten.
    constexpr int kDays = 400;
    constexpr int64_t kOne = int64_t{1} << 30;
    int64_t nAway = 0;  // from the base price, in millionths
    int64_t nWeight = kOne;
    int nDay = nDate;
    for (int i = 0; i < kDays; i++) {
        Random random = RandomOf(instrument, iSeed, nDay, "close");
        nAway += random.Bell(instrument.nDailyMove) * nWeight / kOne;
        nWeight -= nWeight / 64;
        nDay = PrevWeekday(nDay);
    }
    const int64_t nPrice = instrument.nBasePrice + instrument.nBasePrice * nAway / 1000000;
    const int64_t nTicks = nPrice / instrument.nTick;
    constexpr int64_t kLeastTicks = 20;
    return static_cast<int>(std::max(nTicks, kLeastTicks) * instrument.nTick);
}

int InterestOf(const Instrument& instrument, uint64_t iSeed, int nDate) {
    // The spread is what a day's trades can open or close; see OrderFlow::ChangeInterest.
    const int nSpread = std::min(instrument.nBaseInterest / 20, 1000);
    if (nSpread == 0) return instrument.nBaseInterest;
    Random random = RandomOf(instrument, iSeed, nDate, "interest");
    return instrument.nBaseInterest + random.Between(-nSpread, nSpread);
}

}  // namespace qrx::simulate
