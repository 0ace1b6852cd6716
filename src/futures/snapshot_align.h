// The small operations from which a day's snapshots are laid onto a session grid: searches in an
// array sorted by time, filling one slot, merging a run, the day's settlement price, and cutting
// off one date's run. Templates over QRXDefine_Future and QRXDefine_FutureAB; they never look
// outside the array, whatever its times are. CFAlign::TimeAdd is in support/date_time.h.
#ifndef QRX_FUTURES_SNAPSHOT_ALIGN_H
#define QRX_FUTURES_SNAPSHOT_ALIGN_H

#include <qrx/futures.h>

#include <cstdint>

#include "support/assertion.h"
#include "support/date_time.h"

namespace CFAlign {

// Index of the first record from nStart on whose time and date are at or after the given ones, or
// -1; nDate -1 compares times only.
// Time and date are compared one by one, not as a pair: a record of a later date with an earlier
// clock time is passed over. Deliberate.
template <class T>
int MoveToGE(const T* pArr, int nCount, int nStart, int nDate, int nTime) {
    if (pArr == nullptr || nStart < 0) return -1;
    for (int i = nStart; i < nCount; ++i) {
        if (pArr[i].nTime >= nTime && (nDate == -1 || pArr[i].nDate >= nDate)) return i;
    }
    return -1;
}

// Index of the last record of the run from nStart that is not after the given time, or -1 when the
// record at nStart is after it already. Records of earlier dates never end the run.
template <class T>
int MoveToLE(const T* pArr, int nCount, int nStart, int nDate, int nTime) {
    if (pArr == nullptr || nStart < 0 || nStart >= nCount) return -1;
    int i = nStart;
    while (i < nCount && !(pArr[i].nTime > nTime && (nDate == -1 || pArr[i].nDate >= nDate))) ++i;
    return i > nStart ? i - 1 : -1;
}

// Fills the slot of grid time nSlotTime: with the cursor's record when that lies in the half second
// from nSlotTime on, otherwise with the previous slot, its volume and turnover set to 0. The slot's
// own time is for the caller to write.
template <class T>
void CompareCursorTimeAndAssign(T* pDst, const T* pArr, int nCursor, const T* pPrev, int nSlotTime,
                                bool bUsePrev) {
    if (!bUsePrev && nCursor >= 0) {
        const int nTime = pArr[nCursor].nTime;
        const int nMs = nTime % 1000;
        const int nSlotMs = nSlotTime % 1000;
        if (nTime / 1000 == nSlotTime / 1000 && nMs >= nSlotMs && nMs < nSlotMs + 500) {
            *pDst = pArr[nCursor];
            return;
        }
    }
    if (pPrev == nullptr) return;
    *pDst = *pPrev;
    pDst->iVolume = 0;
    pDst->iTurnover = 0;
}

// Merges records nFrom to nTo into one: the last of them, with the sums of volume and turnover.
// Its running totals are those of record nTo plus the sums, although they include them already:
// counted twice, deliberately. Nothing is written with bounds outside the array.
template <class T>
void MergeRecords(T* pDst, const T* pArr, int nCount, int nFrom, int nTo) {
    if (pDst == nullptr || pArr == nullptr) return;
    if (nFrom < 0 || nFrom > nTo || nTo >= nCount) return;
    uint64_t nVolume = 0;  // unsigned: a peer's numbers may wrap
    uint64_t nTurnover = 0;
    for (int i = nFrom; i <= nTo; ++i) {
        nVolume += static_cast<uint64_t>(pArr[i].iVolume);
        nTurnover += static_cast<uint64_t>(pArr[i].iTurnover);
    }
    const T& last = pArr[nTo];
    *pDst = last;
    pDst->iVolume = static_cast<int64_t>(nVolume);
    pDst->iTurnover = static_cast<int64_t>(nTurnover);
    pDst->iAccVolume = static_cast<int64_t>(static_cast<uint64_t>(last.iAccVolume) + nVolume);
    pDst->iAccTurnover = static_cast<int64_t>(static_cast<uint64_t>(last.iAccTurnover) + nTurnover);
}

// The last settlement price that is not 0, or 0.
template <class T>
int GetSettlePrice(const T* pArr, int nCount) {
    for (int i = nCount - 1; i >= 0; --i) {
        if (pArr[i].nSettle != 0) return pArr[i].nSettle;
    }
    return 0;
}

}  // namespace CFAlign

namespace NightAlign {

// Cuts off the run of records from *pOffset that have the date of the first and no time above
// nMaxTime: moves *pOffset behind it, sets its length and date, and returns its first record (not
// the one with the greatest time). Null, with length and date 0, when the run is empty.
template <class T>
T* FindTurdayMaxTimeRecord(T* pArr, int nCount, int* pOffset, int* pFilteredItem, int* pSegDate,
                           int nMaxTime) {
    QRX_ASSERT(pFilteredItem != nullptr && pOffset != nullptr && pSegDate != nullptr,
               "pFilteredItem && pOffset && pSegDate", qrx::source::kConverter);
    *pFilteredItem = 0;
    *pSegDate = 0;
    if (pArr == nullptr || *pOffset < 0 || *pOffset >= nCount) return nullptr;
    T* const pFirst = pArr + *pOffset;
    while (*pOffset < nCount && pArr[*pOffset].nDate == pFirst->nDate &&
           pArr[*pOffset].nTime <= nMaxTime) {
        ++*pFilteredItem;
        ++*pOffset;
    }
    if (*pFilteredItem == 0) return nullptr;
    *pSegDate = pFirst->nDate;
    return pFirst;
}

}  // namespace NightAlign

#endif
