// Turns what happens at an order book into the records of a day.
//
// The order flow says how the clock goes on and what it did; the recorder owns when a snapshot is
// due (every 3 s for stocks; for contracts on each half second before which something happened, in
// every pre-open, and once at the end of a segment) and what each record says.
#ifndef QRX_SERVER_SIMULATE_RECORDER_H
#define QRX_SERVER_SIMULATE_RECORDER_H

#include "simulate/day.h"
#include "simulate/instrument.h"
#include "simulate/order_book.h"
#include "simulate/tally.h"

namespace qrx::simulate {

class Recorder {
public:
    // All three must outlive the recorder.
    Recorder(const Instrument& instrument, const OrderBook& book, Day& day)
        : m_instrument(instrument), m_book(book), m_day(day) {}

    void BeginSegment(const Segment& segment);
    // The snapshot before the opening, of segments that have one.
    void PreOpen();
    // Sends what is due up to nMs, to be called before the book changes at nMs.
    void Advance(int nMs);
    // Sends what is due up to the segment's end, and the snapshot of the end itself. bLast: the
    // day ends with it, and its settlement price is known.
    void EndSegment(bool bLast);
    // Fills daily and minute bars; the last call.
    void Finish();

    // An order message at nMs. nPrice is 0 at the market.
    void Order(int nMs, int nNumber, int8_t chKind, Side side, int nPrice, int nVolume);
    // A trade at nMs, with the open interest after it.
    void Trade(int nMs, const Fill& fill, Side taker, bool bMarketOrder, int nInterest);
    void SetInterest(int nInterest) { m_nInterest = nInterest; }

private:
    void EmitTick(int nMs);
    void EmitQueue(int nMs, Side side);
    void EmitSnapshot(int nMs, int nSettle);
    int SettleSoFar() const;

    const Instrument& m_instrument;
    const OrderBook& m_book;
    Day& m_day;
    Segment m_segment = {};
    Tally m_tally;
    int m_nNextTick = 0;     // ms; stocks
    int m_nDirtyUntil = -1;  // ms at which a snapshot is due, -1: nothing has happened; contracts
    int m_nInterest = 0;
    int8_t m_chLastTaker = 0;
    int64_t m_iSentVolume = 0;  // what the records so far cover
    int64_t m_iSentTurnover = 0;
};

}  // namespace qrx::simulate

#endif
