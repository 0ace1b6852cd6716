// Lays one day's snapshots onto a grid: one pass over the records, forward only, and one over the
// slots. The steps are shared by the day grids (one or two slots a step) and the night grid. Every
// slot ends with the day's settlement price, the codes of the first record, its segment's date and
// its grid time.
//
// Judge::Hold(condition, rule, record) says what a broken rule leads to: completion stops the
// process, the check for tools reports.
#ifndef QRX_FUTURES_GRID_FILLER_H
#define QRX_FUTURES_GRID_FILLER_H

#include <cstring>

#include "futures/grids.h"
#include "futures/snapshot_align.h"
#include "support/strings.h"

namespace qrx::futures {

template <class T, class Judge>
class GridFiller {
public:
    // nCodeBytes: characters kept of the first record's codes (the fields have 32).
    GridFiller(const T* pArr, int nCount, T* pSlots, int nSlots, size_t nCodeBytes)
        : m_pArr(pArr), m_nCount(nCount), m_pSlots(pSlots), m_nSlots(nSlots) {
        memset(static_cast<void*>(&m_stamp), 0, sizeof m_stamp);
        FillField(m_stamp.chVelaCode, pArr[0].chVelaCode, nCodeBytes);
        FillField(m_stamp.chCode, pArr[0].chCode, nCodeBytes);
        m_stamp.nSettle = CFAlign::GetSettlePrice(pArr, nCount);
    }

    void FillDay(const DayGrid& grid, int nDate) {
        m_nFilterDate = nDate;
        m_stamp.nDate = nDate;
        const int nFirst = MoveToGE(0, grid.preOpen.nFirst);
        Judge::Hold(nFirst != -1, kNoPreOpen, nFirst);
        const int nLast = MoveToLE(nFirst, grid.preOpen.nLast);
        MergeInto(EmptySlot(), nFirst, nLast, grid.preOpen.nSlotTime);
        // The cursor goes on from the pre-open's last record. Without one it stays -1, and the
        // whole day repeats an empty slot 0: days are filled only when something traded or was
        // quoted before the opening. Deliberate.
        m_nCursor = nLast;
        for (const Segment& segment : grid.segments) {
            m_nCursor = MoveToGE(m_nCursor, segment.nFirst);
            FillSegment(segment, grid.nStepMs, grid.nSlotsPerStep);
            if (segment.nCheckUntil == 0) continue;
            // The cursor's own record counts: a snapshot at the last slot's time and one half a
            // second later break the rule.
            const int nEnd = MoveToLE(m_nCursor, segment.nCheckUntil);
            Judge::Hold(nEnd == -1 || nEnd == m_nCursor, kOneRecord, m_nCursor + 1);
        }
    }

    // nDate dates the slots until the first run that is not empty.
    void FillNight(int nDate) {
        const T* const pAll = m_pArr;
        const int nAll = m_nCount;
        m_stamp.nDate = nDate;
        int nOffset = 0;
        for (const NightRun& run : kNightGrid) {
            int nRunDate = 0;
            m_pArr = NightAlign::FindTurdayMaxTimeRecord(pAll, nAll, &nOffset, &m_nCount, &nRunDate,
                                                         run.nMaxTime);
            if (m_pArr != nullptr) m_stamp.nDate = nRunDate;
            m_nCursor = run.bPreOpen ? NightPreOpen(run.preOpen) : 0;
            m_nCursor = MoveToGE(m_nCursor, run.segment.nFirst);
            FillSegment(run.segment, kNightStepMs, 1);
        }
    }

private:
    int MoveToGE(int nStart, int nTime) const {
        return CFAlign::MoveToGE(m_pArr, m_nCount, nStart, m_nFilterDate, nTime);
    }
    int MoveToLE(int nStart, int nTime) const {
        return CFAlign::MoveToLE(m_pArr, m_nCount, nStart, m_nFilterDate, nTime);
    }

    T* Slot() {
        Judge::Hold(m_nUsed < m_nSlots, kBeyondGrid, m_nCursor);
        return m_pSlots + m_nUsed++;
    }
    T* EmptySlot() {
        T* pSlot = Slot();
        memset(static_cast<void*>(pSlot), 0, sizeof *pSlot);
        return pSlot;
    }
    void Stamp(T* pSlot) const {
        memcpy(static_cast<void*>(pSlot), &m_stamp, offsetof(T, nTime));  // codes and date
        pSlot->nSettle = m_stamp.nSettle;
    }
    void MergeInto(T* pSlot, int nFrom, int nTo, int nTime) const {
        CFAlign::MergeRecords(pSlot, m_pArr, m_nCount, nFrom, nTo);
        Stamp(pSlot);
        pSlot->nTime = nTime;
    }

    // The slot of the pre-open; returns where the search for the segment's first record begins.
    // Nothing inside the range: the slot repeats the one before it, if there is one, provided that
    // records come later; without any it stays empty.
    int NightPreOpen(const PreOpen& preOpen) {
        T* pSlot = EmptySlot();
        const int nFirst = MoveToGE(0, preOpen.nFirst);
        const int nLast = MoveToLE(0, preOpen.nLast);
        if (nFirst != -1 && nLast < nFirst && pSlot != m_pSlots) {
            CFAlign::CompareCursorTimeAndAssign(pSlot, m_pArr, -1, pSlot - 1, preOpen.nSlotTime,
                                                true);
        }
        MergeInto(pSlot, nFirst, nLast, preOpen.nSlotTime);  // of a run that is not empty
        return nFirst;
    }

    void FillSegment(const Segment& segment, int nStepMs, int nSlotsPerStep) {
        const int nSteps = StepCount(segment, nStepMs);
        int nCurTime = segment.nFirst;
        for (int i = 0;; ++i) {
            if (i == nSteps) Judge::Hold(nCurTime == segment.nLast, segment.drift, m_nCursor);
            T* pSlot = Slot();
            CFAlign::CompareCursorTimeAndAssign(pSlot, m_pArr, m_nCursor, pSlot - 1, nCurTime,
                                                false);
            Stamp(pSlot);
            pSlot->nTime = nCurTime;
            if (nSlotsPerStep == 2) pSlot = SecondSlot(nCurTime);
            if (i == nSteps) return;
            // Records that share a step with an earlier one are passed over here, and their volume
            // reaches no slot. Deliberate.
            m_nCursor = MoveToGE(m_nCursor, CFAlign::TimeAdd(nCurTime, nStepMs));
            nCurTime = CFAlign::TimeAdd(pSlot->nTime, nStepMs);
        }
    }

    // The second slot of a pair: what else is stamped with exactly this second, merged, or a repeat
    // of the first slot. It keeps the time of what was copied. Record 0 never feeds a second slot:
    // the cursor has to be above 0. Deliberate.
    T* SecondSlot(int nCurTime) {
        T* pSlot = Slot();
        int nLast = m_nCursor;
        if (m_nCursor > 0 && m_pArr[m_nCursor].nTime == nCurTime) {
            // Never walks beyond the record at which the next cursor move stops: one pass.
            nLast = MoveToLE(m_nCursor, nCurTime);
            Judge::Hold(nLast >= m_nCursor, kSecondSlot, m_nCursor);
        }
        if (nLast > m_nCursor) {
            CFAlign::MergeRecords(pSlot, m_pArr, m_nCount, m_nCursor + 1, nLast);
        } else {
            CFAlign::CompareCursorTimeAndAssign(pSlot, m_pArr, m_nCursor, pSlot - 1, nCurTime,
                                                true);
        }
        Stamp(pSlot);
        return pSlot;
    }

    const T* m_pArr;  // the records that feed the slots, and how many
    int m_nCount;
    T* m_pSlots;
    int m_nSlots;
    int m_nUsed = 0;
    int m_nCursor = -1;
    int m_nFilterDate = -1;  // records of earlier dates are passed over; -1: times only
    T m_stamp;               // codes, date and settlement price of every slot
};

}  // namespace qrx::futures

#endif
