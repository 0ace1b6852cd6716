// See the header: one allocation and one pass for each day.
#include "futures/completion.h"

#include <qrx/qrx.h>

#include "futures/grid_filler.h"
#include "support/result_memory.h"

using qrx::futures::DayGrid;
using qrx::futures::GridKind;
using qrx::source::kConverter;

namespace {

constexpr size_t kDayCodeBytes = 31;
constexpr size_t kNightCodeBytes = 32;

// A broken rule is a broken invariant: the process stops.
struct StopJudge {
    static void Hold(bool bHolds, const qrx::futures::Rule& rule, int) {
        QRX_ASSERT(bHolds, rule.szAssertion, kConverter);
    }
};

// Replaces a day by nSlots slots that fill(filler) writes.
template <class T, class Fill>
int ReplaceDay(T** ppFuture, unsigned* pItems, int nSlots, size_t nCodeBytes, Fill fill) {
    QRX_ASSERT(ppFuture != nullptr && pItems != nullptr && *ppFuture != nullptr && *pItems != 0,
               "ppFuture && pItems && *ppFuture && *pItems", kConverter);
    T* const pSlots = qrx::NewResult<T>(nSlots);
    if (pSlots == nullptr) return QRX_ERR_MEMORY;
    qrx::futures::GridFiller<T, StopJudge> filler(*ppFuture, static_cast<int>(*pItems), pSlots,
                                                  nSlots, nCodeBytes);
    fill(filler);
    qrx::FreeResult(*ppFuture);
    *ppFuture = pSlots;
    *pItems = static_cast<unsigned>(nSlots);
    return QRX_OK;
}

template <class T>
int AlignDay(const DayGrid& grid, T** ppFuture, unsigned* pItems, unsigned nDate) {
    return ReplaceDay(ppFuture, pItems, SlotCount(grid), kDayCodeBytes,
                      [&](auto& filler) { filler.FillDay(grid, static_cast<int>(nDate)); });
}

template <class T>
int LeaveDay(T** pFuture, const unsigned* pItems) {
    QRX_ASSERT(pFuture != nullptr && pItems != nullptr && *pFuture != nullptr && *pItems != 0,
               "pFuture && pItems && *pFuture && *pItems", kConverter);
    return QRX_OK;
}

template <class T>
int Complete(GridKind eGrid, T** ppFuture, unsigned* pItems, unsigned nDate) {
    switch (eGrid) {
        case GridKind::kSHF:
            return BusinessConvertor::AutoAlignFutureOneDaySHF(ppFuture, pItems, nDate);
        case GridKind::kDCE:
            return BusinessConvertor::AutoAlignFutureOneDayDCE(ppFuture, pItems, nDate);
        case GridKind::kCF:
            return BusinessConvertor::AutoAlignFutureOneDayCF(ppFuture, pItems, nDate);
        case GridKind::kNight:
            return BusinessConvertor::AutoAlignFutureOneDayNightSHF(ppFuture, pItems, nDate);
        case GridKind::kUnaligned:
            return LeaveDay(ppFuture, pItems);
        case GridKind::kNone:
            break;
    }
    QRX_ASSERT(false, qrx::futures::kNoGrid.szAssertion, kConverter);
}

template <class T>
int CompleteBytes(GridKind eGrid, void** ppData, unsigned* pItems, unsigned nDate) {
    T* pFuture = static_cast<T*>(*ppData);
    const int nResult = Complete(eGrid, &pFuture, pItems, nDate);
    *ppData = pFuture;
    return nResult;
}

}  // namespace

namespace BusinessConvertor {

template <class T>
int AutoAlignFutureOneDaySHF(T** ppFuture, unsigned* pItems, unsigned nDate) {
    return AlignDay(qrx::futures::kGridSHF, ppFuture, pItems, nDate);
}
template <class T>
int AutoAlignFutureOneDayDCE(T** ppFuture, unsigned* pItems, unsigned nDate) {
    return AlignDay(qrx::futures::kGridDCE, ppFuture, pItems, nDate);
}
template <class T>
int AutoAlignFutureOneDayCF(T** ppFuture, unsigned* pItems, unsigned nDate) {
    return AlignDay(qrx::futures::kGridCF, ppFuture, pItems, nDate);
}
template <class T>
int AutoAlignFutureOneDayNightSHF(T** ppFuture, unsigned* pItems, unsigned nDate) {
    return ReplaceDay(ppFuture, pItems, qrx::futures::NightSlotCount(), kNightCodeBytes,
                      [&](auto& filler) { filler.FillNight(static_cast<int>(nDate)); });
}

int AutoAlignFutureOneDayCZC(QRXDefine_Future** pFuture, unsigned* pItems, unsigned) {
    return LeaveDay(pFuture, pItems);
}
int AutoAlignFutureOneDayCZC_AB(QRXDefine_FutureAB** pFuture, unsigned* pItems, unsigned) {
    return LeaveDay(pFuture, pItems);
}

int AutoCompleteFutureTickOneDay(void** ppData, unsigned* pItems, bool bAB, const char* szMarket,
                                 const char* szCode, unsigned nDate) {
    if (ppData == nullptr || pItems == nullptr || szMarket == nullptr || szCode == nullptr ||
        *ppData == nullptr || *pItems == 0) {
        return QRX_ERR_ARGUMENT;
    }
    const GridKind eGrid = qrx::futures::ChooseGrid(szMarket, szCode);
    return bAB ? CompleteBytes<QRXDefine_FutureAB>(eGrid, ppData, pItems, nDate)
               : CompleteBytes<QRXDefine_Future>(eGrid, ppData, pItems, nDate);
}

#define QRX_ALIGN_BOTH(Name)                                                      \
    template int Name<QRXDefine_Future>(QRXDefine_Future**, unsigned*, unsigned); \
    template int Name<QRXDefine_FutureAB>(QRXDefine_FutureAB**, unsigned*, unsigned);

QRX_ALIGN_BOTH(AutoAlignFutureOneDaySHF)
QRX_ALIGN_BOTH(AutoAlignFutureOneDayDCE)
QRX_ALIGN_BOTH(AutoAlignFutureOneDayCF)
QRX_ALIGN_BOTH(AutoAlignFutureOneDayNightSHF)

}  // namespace BusinessConvertor
