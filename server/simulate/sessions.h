// When an instrument trades: the segments of one trading day, in order, night first.
//
// A trading day is Monday to Friday; its night is the evening of the weekday before (Friday's for a
// Monday) and runs past midnight into the next calendar date. Times are milliseconds since midnight
// of the segment's date, and go beyond 24 hours there; Stamp turns them into what records carry.
#ifndef QRX_SERVER_SIMULATE_SESSIONS_H
#define QRX_SERVER_SIMULATE_SESSIONS_H

#include <vector>

#include "simulate/instrument.h"

namespace qrx::simulate {

struct Segment {
    int nDate;     // calendar date on which it begins, YYYYMMDD
    int nPreOpen;  // ms, a contract's snapshot before its opening; -1 without one
    int nBegin;    // ms, inclusive
    int nEnd;      // ms, exclusive for trades; a snapshot carries it
};

struct Stamp {
    int nDate;  // YYYYMMDD
    int nTime;  // HHMMSSmmm
};

Stamp StampOf(const Segment& segment, int nMs);

std::vector<Segment> SegmentsOf(const Instrument& instrument, int nTradingDay);

// The last weekday before nDate; nDate itself, if a weekday, or the weekday before it.
int PrevWeekday(int nDate);
int ThisOrPrevWeekday(int nDate);

}  // namespace qrx::simulate

#endif
