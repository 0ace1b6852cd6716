// Completing one day's snapshots: the day's array is replaced by one with exactly one record per
// slot of the exchange's grid. None of these needs a session.
//
// Each takes an array that was allocated as a char array (result_memory.h), replaces it and its
// count, and returns 0; or -4 with both as they were when there is no memory for the grid. A day
// that does not meet its grid's conditions stops the process; grids/grid_check.h asks beforehand.
#ifndef QRX_FUTURES_COMPLETION_H
#define QRX_FUTURES_COMPLETION_H

#include <qrx/futures.h>

#include "futures/grids.h"

namespace BusinessConvertor {

// For QRXDefine_Future and QRXDefine_FutureAB. nDate is the trading day.
template <class T>
int AutoAlignFutureOneDaySHF(T** ppFuture, unsigned* pItems, unsigned nDate);
template <class T>
int AutoAlignFutureOneDayDCE(T** ppFuture, unsigned* pItems, unsigned nDate);
template <class T>
int AutoAlignFutureOneDayCF(T** ppFuture, unsigned* pItems, unsigned nDate);
template <class T>
int AutoAlignFutureOneDayNightSHF(T** ppFuture, unsigned* pItems, unsigned nDate);

// Days of CZC stay as they are, deliberately.
int AutoAlignFutureOneDayCZC(QRXDefine_Future** pFuture, unsigned* pItems, unsigned nDate);
int AutoAlignFutureOneDayCZC_AB(QRXDefine_FutureAB** pFuture, unsigned* pItems, unsigned nDate);

// Chooses among the above by server market and server code. -11 for a null pointer or an empty
// day; a market without a grid stops the process.
int AutoCompleteFutureTickOneDay(void** ppData, unsigned* pItems, bool bAB, const char* szMarket,
                                 const char* szCode, unsigned nDate);

}  // namespace BusinessConvertor

#endif
