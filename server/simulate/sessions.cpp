// Sessions of the simulated markets, read off the grids of bars; see the header for how times are
// written.
#include "simulate/sessions.h"

#include <stdexcept>

#include "kline/grid.h"

namespace qrx::simulate {
namespace {

constexpr int kDayMs = 24 * 60 * 60 * 1000;

// Half a second into the minute before the opening: within every market's pre-open range.
constexpr int kBeforeOpening = 59'500;

int Ms(int nTime) {
    return BusinessConvertor::HHMMSSmmm2MiniSeconds(nTime);
}

}  // namespace

int PrevWeekday(int nDate) {
    return GetDiffDay(nDate, -1, true);
}

int ThisOrPrevWeekday(int nDate) {
    return PrevWeekday(GetDiffDay(nDate, 1, false));
}

Stamp StampOf(const Segment& segment, int nMs) {
    const int nDate = nMs < kDayMs ? segment.nDate : GetDiffDay(segment.nDate, 1, false);
    return {nDate, BusinessConvertor::MiniSeconds2HHMMSSmmm(nMs % kDayMs)};
}

std::vector<Segment> SegmentsOf(const Instrument& instrument, int nTradingDay) {
    const GridRow* pRow = FindGridRow(instrument.strMarket, instrument.strCode);
    if (pRow == nullptr) throw std::logic_error("no sessions for " + instrument.strMarket);
    std::vector<Segment> vecSegments;
    const auto add = [&](std::span<const qrx::Segment> segments) {
        const size_t nFirst = vecSegments.size();
        for (const qrx::Segment& segment : segments) {
            const int nBegin = Ms(segment.nStart);
            const int nEnd = Ms(segment.nEnd);
            const bool bOpening = vecSegments.size() == nFirst;
            if (!bOpening && nBegin == 0) {  // the grid's part after midnight: the same session
                vecSegments.back().nEnd = kDayMs + nEnd;
                continue;
            }
            vecSegments.push_back(
                {GetActionDay(nTradingDay, segment.nStart),
                 bOpening && instrument.IsContract() ? nBegin - kBeforeOpening : -1, nBegin, nEnd});
        }
    };
    if (pRow->HasNight(nTradingDay)) add(pRow->pNight->segments);
    add(pRow->pDay->segments);
    return vecSegments;
}

}  // namespace qrx::simulate
