// The seeded order flow of one instrument's day.
//
// A fair price wanders from the previous close to the close that the price path gives; orders
// gather around it, some cross it, stale ones are cancelled, and the day's last trade is made at
// the close. Open interest goes from the previous day's to the day's in the same way. What happens
// is told to the recorder; the flow makes no record itself.
#ifndef QRX_SERVER_SIMULATE_ORDER_FLOW_H
#define QRX_SERVER_SIMULATE_ORDER_FLOW_H

#include <vector>

#include "simulate/instrument.h"
#include "simulate/order_book.h"
#include "simulate/random.h"
#include "simulate/recorder.h"
#include "simulate/sessions.h"

namespace qrx::simulate {

// Where a day comes from and where it has to end.
struct DayPlan {
    std::vector<Segment> vecSegments;
    int nPrevClose;
    int nClose;
    int nPrevInterest;
    int nInterest;
};

class OrderFlow {
public:
    // instrument and plan must outlive the flow.
    OrderFlow(const Instrument& instrument, const DayPlan& plan, Random random, Day& day);

    void Run();

private:
    void RunSegment(const Segment& segment, bool bFirst, bool bLast);
    void Seed(const Segment& segment);
    int Gap();
    void MoveFair(int nMs);
    void Event();
    void Passive();
    void Aggressive();
    void CancelOne();
    void CloseTheDay();

    // Let an order in, and tell the recorder of it and of its trades.
    void Limit(Side side, int nPrice, int nVolume);
    void Market(Side side, int nVolume);
    void Record(Side taker, bool bMarketOrder);
    int ChangeInterest(int nVolume);

    Side DrawSide() { return m_random.Chance(500) ? Side::kAsk : Side::kBid; }
    int DrawVolume();
    int FairPrice() const;
    // nTicks away from the fair price, to the passive side of it when positive; within the band.
    int PriceAt(Side side, int nTicks) const;

    const Instrument& m_instrument;
    const DayPlan& m_plan;
    Random m_random;
    OrderBook m_book;
    Recorder m_recorder;
    std::vector<Fill> m_vecFills;

    int m_nLow, m_nHigh;      // the band, on ticks
    int m_nDepth;             // ticks over which orders spread
    int64_t m_iFair;          // fair price x 1000
    int64_t m_iNoise;         // its deviation in one event
    int m_nMs = 0;            // now, in the current segment
    int m_nActiveTotal = 0;   // ms of trading in the day
    int m_nActiveBefore = 0;  // of the segments that are over
    int m_nBegin = 0;         // of the current segment
    int m_nLastMove = 0;      // active ms at the last move of the fair price
    int m_nMeanGap = 0;       // ms between events
    int m_nNextOrder = 1;
    int m_nInterest;
    bool m_bClosing = false;  // open interest must end where the plan says
};

}  // namespace qrx::simulate

#endif
