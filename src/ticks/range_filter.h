// Which records of a range of days are kept. Shared by every kind of data.
#ifndef QRX_TICKS_RANGE_FILTER_H
#define QRX_TICKS_RANGE_FILTER_H

namespace qrx {

// Dates of the whole range and the time bounds on its first and last day, all inclusive.
struct RangeFilter {
    int nBeginDate;
    int nEndDate;
    int nBeginTime;
    int nEndTime;

    // A begin date alone does not drop earlier dates: the night before belongs to its day, and only
    // a caller that gives a begin time asks for less. Wanted.
    bool Drops(int nDate, int nTime) const {
        return (nBeginDate > 0 && nDate < nBeginDate && nBeginTime != 0) ||
               (nEndDate > 0 && nDate > nEndDate) ||
               (nDate == nBeginDate && nBeginTime > 0 && nTime < nBeginTime) ||
               (nDate == nEndDate && nEndTime > 0 && nTime > nEndTime);
    }

    // False when no record whatever can be dropped.
    bool MayDrop() const {
        return (nBeginDate > 0 && nBeginTime != 0) || nEndDate > 0 || nBeginTime > 0 ||
               nEndTime > 0;
    }
    // False when all records of a date share its fate, whatever their time.
    bool TimeMatters(int nDate) const {
        return (nDate == nBeginDate && nBeginTime > 0) || (nDate == nEndDate && nEndTime > 0);
    }
};

}  // namespace qrx

#endif
