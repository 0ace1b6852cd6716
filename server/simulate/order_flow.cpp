// The habits of the flow: how often, on which side, how far from the fair price, how much.
#include "simulate/order_flow.h"

#include <algorithm>
#include <cstdlib>

namespace qrx::simulate {
namespace {

constexpr int kSeedOrders = 60;   // per side, before the opening
constexpr int kFewOrders = 200;   // resting: fewer are not cancelled
constexpr int kManyOrders = 600;  // resting: more are cancelled more often
constexpr int kClosingMs = 200;   // before the end, the closing orders begin
constexpr int kFourHours = 4 * 3600 * 1000;

int64_t SquareRoot(int64_t nValue) {
    int64_t nRoot = 0;
    for (int64_t nBit = int64_t{1} << 30; nBit > 0; nBit >>= 1) {
        if ((nRoot + nBit) * (nRoot + nBit) <= nValue) nRoot += nBit;
    }
    return nRoot;
}

}  // namespace

OrderFlow::OrderFlow(const Instrument& instrument, const DayPlan& plan, Random random, Day& day)
    : m_instrument(instrument),
      m_plan(plan),
      m_random(random),
      m_recorder(instrument, m_book, day),
      m_iFair(int64_t{plan.nPrevClose} * 1000),
      m_nInterest(plan.nPrevInterest) {
    const int nTick = instrument.nTick;
    const int64_t nAway = int64_t{plan.nPrevClose} * instrument.nBand / 1000;
    m_nLow = static_cast<int>((plan.nPrevClose - nAway) / nTick + 1) * nTick;
    m_nHigh = static_cast<int>((plan.nPrevClose + nAway) / nTick) * nTick;

    for (const Segment& segment : plan.vecSegments) m_nActiveTotal += segment.nEnd - segment.nBegin;
    // A day with a night is longer and has more events, but not in proportion.
    const int64_t nEvents =
        int64_t{instrument.nEvents} * (m_nActiveTotal + kFourHours) / (2 * kFourHours);
    m_nMeanGap = static_cast<int>(m_nActiveTotal / nEvents);
    const int64_t iMove = int64_t{instrument.nBasePrice} * instrument.nDailyMove / 1000000;
    m_iNoise = iMove * 1000 / SquareRoot(nEvents);
    m_nDepth = static_cast<int>(std::clamp<int64_t>(iMove / nTick / 12, 8, 300));
    m_recorder.SetInterest(m_nInterest);
}

void OrderFlow::Run() {
    const size_t nSegments = m_plan.vecSegments.size();
    for (size_t i = 0; i < nSegments; i++) {
        RunSegment(m_plan.vecSegments[i], i == 0, i + 1 == nSegments);
    }
    m_recorder.Finish();
}

void OrderFlow::RunSegment(const Segment& segment, bool bFirst, bool bLast) {
    m_recorder.BeginSegment(segment);
    m_nBegin = segment.nBegin;
    if (bFirst) Seed(segment);
    m_recorder.PreOpen();

    // The segment opens with a trade, so that its first minute has a bar.
    m_nMs = segment.nBegin + 100 + m_random.Below(800);
    m_recorder.Advance(m_nMs);
    Market(DrawSide(), DrawVolume());

    const int nLast = bLast ? segment.nEnd - kClosingMs : segment.nEnd;
    for (m_nMs += Gap(); m_nMs < nLast; m_nMs += Gap()) {
        m_recorder.Advance(m_nMs);
        MoveFair(m_nMs);
        Event();
    }
    if (bLast) {
        m_nMs = nLast;
        CloseTheDay();
    }
    m_recorder.EndSegment(bLast);
    m_nActiveBefore += segment.nEnd - segment.nBegin;
}

// Orders for the pre-open snapshot to show, or those of the first moment where there is none.
void OrderFlow::Seed(const Segment& segment) {
    m_nMs = segment.nPreOpen < 0 ? segment.nBegin : segment.nPreOpen - 500;
    for (int i = 0; i < kSeedOrders; i++) {
        for (const Side side : {Side::kAsk, Side::kBid}) {
            Limit(side, PriceAt(side, 1 + m_random.Below(m_nDepth)), DrawVolume());
        }
    }
}

// Events come thick at the opening and the close, and thin in between.
int OrderFlow::Gap() {
    const int64_t nActive = m_nActiveBefore + (m_nMs - m_nBegin);
    const int64_t nPart = nActive * 1000 / m_nActiveTotal;                    // 0 to 1000
    const int64_t nShape = 600 + 800 * 4 * nPart * (1000 - nPart) / 1000000;  // 1133 on average
    return 1 + m_random.Below(static_cast<int>(2 * m_nMeanGap * nShape / 1133));
}

// Drifts so as to arrive at the close in time, and shakes on the way.
void OrderFlow::MoveFair(int nMs) {
    const int nActive = m_nActiveBefore + (nMs - m_nBegin);
    const int64_t nLeft = std::max(m_nActiveTotal - m_nLastMove, 1);
    const int64_t iRest = int64_t{m_plan.nClose} * 1000 - m_iFair;
    m_iFair += iRest * (nActive - m_nLastMove) / nLeft + m_random.Bell(m_iNoise);
    // Nine tenths of the band, so that both sides of the book always have room.
    const int64_t iRoom = int64_t{m_nHigh - m_nLow} * 450;
    const int64_t iMiddle = (int64_t{m_nHigh} + m_nLow) * 500;
    m_iFair = std::clamp(m_iFair, iMiddle - iRoom, iMiddle + iRoom);
    m_nLastMove = nActive;
}

void OrderFlow::Event() {
    const int nResting = m_book.RestingCount();
    const int nCancel = nResting < kFewOrders ? 0 : nResting > kManyOrders ? 480 : 300;
    const int nDraw = m_random.Below(1000);
    if (nDraw < nCancel) {
        CancelOne();
    } else if (nDraw < nCancel + 170) {
        Aggressive();
    } else {
        Passive();
    }
}

// Near the fair price more often than far from it. Trades only with what the fair price has left
// behind.
void OrderFlow::Passive() {
    const Side side = DrawSide();
    Limit(side, PriceAt(side, m_random.Below(1 + m_random.Below(m_nDepth))), DrawVolume());
}

void OrderFlow::Aggressive() {
    const Side side = DrawSide();
    if (m_random.Chance(400)) {
        Market(side, DrawVolume());
    } else {
        Limit(side, PriceAt(side, -1 - m_random.Below(m_nDepth / 4 + 1)), DrawVolume());
    }
}

// The order farthest from the fair price of three.
void OrderFlow::CancelOne() {
    const int nFair = FairPrice();
    int nChosen = 0;
    for (int i = 0; i < 3; i++) {
        const int nNumber = m_book.RestingAt(m_random.Below(m_book.RestingCount()));
        if (nChosen == 0 ||
            std::abs(m_book.PriceOf(nNumber) - nFair) > std::abs(m_book.PriceOf(nChosen) - nFair)) {
            nChosen = nNumber;
        }
    }
    m_recorder.Order(m_nMs, nChosen, kCancelOrder, m_book.SideOf(nChosen), m_book.PriceOf(nChosen),
                     m_book.LeftOf(nChosen));
    m_book.Cancel(nChosen);
}

// Clears what stands beyond the close, then trades at the close: enough to bring the open interest
// where the plan has it.
void OrderFlow::CloseTheDay() {
    const int nClose = m_plan.nClose;
    m_recorder.Advance(m_nMs);
    for (const Side resting : {Side::kAsk, Side::kBid}) {
        const int64_t nBeyond = m_book.VolumeBetter(resting, nClose);
        if (nBeyond > 0) Limit(Opposite(resting), nClose, static_cast<int>(nBeyond));
    }
    m_bClosing = true;
    const int nVolume = std::max(DrawVolume(), std::abs(m_plan.nInterest - m_nInterest));
    m_nMs += kClosingMs / 4;
    Limit(Side::kBid, nClose, nVolume);  // takes asks at the close, or rests
    m_nMs += kClosingMs / 4;
    const int nRest = std::max(DrawVolume(), std::abs(m_plan.nInterest - m_nInterest));
    const bool bAsksLeft = !m_book.Empty(Side::kAsk) && m_book.Best(Side::kAsk) == nClose;
    Limit(bAsksLeft ? Side::kBid : Side::kAsk, nClose, nRest);
}

void OrderFlow::Limit(Side side, int nPrice, int nVolume) {
    const int nNumber = m_nNextOrder++;
    m_recorder.Order(m_nMs, nNumber, kLimitOrder, side, nPrice, nVolume);
    m_book.AddLimit(nNumber, side, nPrice, nVolume, m_vecFills);
    Record(side, false);
}

void OrderFlow::Market(Side side, int nVolume) {
    const int nNumber = m_nNextOrder++;
    m_recorder.Order(m_nMs, nNumber, kMarketOrder, side, 0, nVolume);
    const int nLeft = m_book.AddMarket(nNumber, side, nVolume, m_vecFills);
    Record(side, true);
    if (nLeft > 0) m_recorder.Order(m_nMs, nNumber, kCancelOrder, side, 0, nLeft);
}

void OrderFlow::Record(Side taker, bool bMarketOrder) {
    for (const Fill& fill : m_vecFills) {
        m_nInterest += ChangeInterest(fill.nVolume);
        m_recorder.Trade(m_nMs, fill, taker, bMarketOrder, m_nInterest);
    }
    m_vecFills.clear();
}

// Both sides open (more), both close (less), or one of each (the same). Leans towards the plan.
int OrderFlow::ChangeInterest(int nVolume) {
    if (m_plan.nInterest == 0) return 0;
    const int nMissing = m_plan.nInterest - m_nInterest;
    const int nTowards = nMissing < 0 ? -nVolume : nVolume;
    if (m_bClosing) return std::abs(nMissing) < nVolume ? nMissing : nTowards;
    const int nDraw = m_random.Below(100);
    const int nChange = nDraw < 45 ? 0 : nDraw < 78 ? nTowards : -nTowards;
    return m_nInterest + nChange < 0 ? 0 : nChange;
}

int OrderFlow::DrawVolume() {
    return m_instrument.nLot * (1 + m_random.Below(1 + m_random.Below(20)));
}

int OrderFlow::FairPrice() const {
    const int64_t nTick = int64_t{m_instrument.nTick} * 1000;
    return static_cast<int>((m_iFair + nTick / 2) / nTick) * m_instrument.nTick;
}

int OrderFlow::PriceAt(Side side, int nTicks) const {
    const int nAway = nTicks * m_instrument.nTick;
    const int nPrice = FairPrice() + (side == Side::kAsk ? nAway : -nAway);
    return std::clamp(nPrice, m_nLow, m_nHigh);
}

}  // namespace qrx::simulate
