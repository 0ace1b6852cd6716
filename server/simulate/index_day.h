// An index's day, computed from the days of its stocks.
#ifndef QRX_SERVER_SIMULATE_INDEX_DAY_H
#define QRX_SERVER_SIMULATE_INDEX_DAY_H

#include <vector>

#include "simulate/day.h"
#include "simulate/instrument.h"
#include "simulate/sessions.h"

namespace qrx::simulate {

struct Constituent {
    const Instrument* pStock;
    Day day;
};

// The index stands at its base price when every stock stands at its own; each stock has the same
// weight. Volumes, turnovers and trade counts are the stocks' sums. There must be a constituent.
Day MakeIndexDay(const Instrument& index, const std::vector<Constituent>& vecConstituents,
                 const std::vector<Segment>& vecSegments, int nTradingDay);

}  // namespace qrx::simulate

#endif
