// Whether the library may be asked to complete bars or snapshots: a market without a grid, and
// records that break a grid's conditions, would stop the process there. The tools fetch plain and
// ask here, with the very tables and steps that completion uses. Pure; never prints, never stops.
#ifndef QRX_GRIDS_COMPLETABLE_H
#define QRX_GRIDS_COMPLETABLE_H

#include <qrx/code.h>

#include <string>

namespace qrx::grids {

enum class Kind : int { Bars = 0, Snapshots = 1, SnapshotsWithBook = 2 };

// The sentence that says why not, with day, record and rule; empty when nothing is wrong. Without
// records by the market alone. Bars: a whole answer, nDay does not count. Snapshots: those of the
// trading day nDay. bad_alloc when there is no memory to try a day's grid in.
std::string WhyNotCompletable(Kind kind, const QRXDefine_Code& code, const void* pRecords,
                              int nCount, int nDay);

}  // namespace qrx::grids

#endif
