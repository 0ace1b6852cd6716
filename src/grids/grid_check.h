// Whether a day's snapshots may be completed: completion stops the process on a day that does not
// meet its grid's conditions, so tools fetch plain, ask here, and refuse with a sentence. Runs the
// very steps of completion into a grid of its own; needs no session, prints nothing.
#ifndef QRX_GRIDS_GRID_CHECK_H
#define QRX_GRIDS_GRID_CHECK_H

#include <qrx/futures.h>

#include <optional>
#include <string>

#include "futures/grids.h"

namespace qrx::futures {

struct GridFault {
    int nDate;    // the trading day
    int nRecord;  // index of the record that breaks the rule; -1: none in particular
    int nTime;    // its time; 0 without one
    Rule rule;

    // One sentence with day, record and rule, without a line end.
    std::string Text() const;
};

// Market and code in the server's form. Nothing for a day that can be completed, also for an empty
// one. bad_alloc when there is no memory for the grid.
template <class T>
std::optional<GridFault> CheckGrid(const T* pArr, int nCount, const char* szMarket,
                                   const char* szCode, int nDate);

extern template std::optional<GridFault> CheckGrid(const QRXDefine_Future*, int, const char*,
                                                   const char*, int);
extern template std::optional<GridFault> CheckGrid(const QRXDefine_FutureAB*, int, const char*,
                                                   const char*, int);

}  // namespace qrx::futures

#endif
