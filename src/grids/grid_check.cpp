// See the header.
#include "grids/grid_check.h"

#include <memory>

#include "futures/grid_filler.h"
#include "grids/broken_rule.h"

namespace qrx::futures {
namespace {

struct Broken {
    Rule rule;
    int nRecord;
};

// A broken rule ends the walk; it is caught below.
struct ReportJudge {
    static void Hold(bool bHolds, const Rule& rule, int nRecord) {
        if (!bHolds) throw Broken{rule, nRecord};
    }
};

template <class T>
void WalkDay(const DayGrid& grid, const T* pArr, int nCount, int nDate) {
    const int nSlots = SlotCount(grid);
    const std::unique_ptr<T[]> pSlots(new T[static_cast<size_t>(nSlots)]);
    GridFiller<T, ReportJudge>(pArr, nCount, pSlots.get(), nSlots, 0).FillDay(grid, nDate);
}

}  // namespace

std::string GridFault::Text() const {
    return BrokenRule(nDate, nRecord, nTime, rule.szSentence);
}

template <class T>
std::optional<GridFault> CheckGrid(const T* pArr, int nCount, const char* szMarket,
                                   const char* szCode, int nDate) {
    if (pArr == nullptr || nCount <= 0) return std::nullopt;
    try {
        switch (ChooseGrid(szMarket, szCode)) {
            case GridKind::kSHF:
                WalkDay(kGridSHF, pArr, nCount, nDate);
                break;
            case GridKind::kDCE:
                WalkDay(kGridDCE, pArr, nCount, nDate);
                break;
            case GridKind::kCF:
                WalkDay(kGridCF, pArr, nCount, nDate);
                break;
            case GridKind::kNight:      // whatever the records are, each slot has its place
            case GridKind::kUnaligned:  // nothing happens to the day
                break;
            case GridKind::kNone:
                ReportJudge::Hold(false, kNoGrid, -1);
        }
    } catch (const Broken& broken) {
        const bool bRecord = broken.nRecord >= 0 && broken.nRecord < nCount;
        return GridFault{nDate, bRecord ? broken.nRecord : -1,
                         bRecord ? pArr[broken.nRecord].nTime : 0, broken.rule};
    }
    return std::nullopt;
}

template std::optional<GridFault> CheckGrid(const QRXDefine_Future*, int, const char*, const char*,
                                            int);
template std::optional<GridFault> CheckGrid(const QRXDefine_FutureAB*, int, const char*,
                                            const char*, int);

}  // namespace qrx::futures
