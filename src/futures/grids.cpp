// Counting slots, and choosing the grid of a contract.
#include "futures/grids.h"

#include <cstring>

#include "support/date_time.h"
#include "support/strings.h"

namespace qrx::futures {
namespace {

bool NeverNight(const char*) {
    return false;
}
// Case counts, deliberately. Codes of SHF arrive in lower case and codes of CF in upper case, so
// that through a request only a market such as SHFX or CFX comes to the night grid: a night-traded
// contract is completed onto its day grid.
bool IsGoldOrSilver(const char* szCode) {
    return strncmp(szCode, "AG", 2) == 0 || strncmp(szCode, "AU", 2) == 0;
}
bool IsDCENight(const char* szCode) {
    return BusinessConvertor::IsDCENightCode(szCode);
}

// Tried in this order; the market's first characters decide, so "CF" takes "cf" and "CFX" too. The
// night test named after DCE is applied to CF, and contracts of DCE always get the day grid:
// misplaced as it looks, wanted so.
struct Choice {
    const char* szMarket;
    bool (*pfnIsNight)(const char* szCode);
    GridKind eDay;
};
constexpr Choice kChoices[] = {{"SHF", IsGoldOrSilver, GridKind::kSHF},
                               {"CZC", NeverNight, GridKind::kUnaligned},
                               {"DCE", NeverNight, GridKind::kDCE},
                               {"CF", IsDCENight, GridKind::kCF}};

int Ms(int nTime) {
    return BusinessConvertor::HHMMSSmmm2MiniSeconds(nTime);
}

}  // namespace

int StepCount(const Segment& segment, int nStepMs) {
    return (Ms(segment.nLast) - Ms(segment.nFirst)) / nStepMs;
}

int SlotCount(const DayGrid& grid) {
    int nSteps = 0;
    for (const Segment& segment : grid.segments) nSteps += StepCount(segment, grid.nStepMs) + 1;
    return 1 + nSteps * grid.nSlotsPerStep;
}

int NightSlotCount() {
    int nSlots = 0;
    for (const NightRun& run : kNightGrid) {
        nSlots += (run.bPreOpen ? 1 : 0) + StepCount(run.segment, kNightStepMs) + 1;
    }
    return nSlots;
}

GridKind ChooseGrid(const char* szMarket, const char* szCode) {
    for (const Choice& choice : kChoices) {
        if (CompareNoCase(szMarket, choice.szMarket, strlen(choice.szMarket)) != 0) continue;
        return choice.pfnIsNight(szCode) ? GridKind::kNight : choice.eDay;
    }
    return GridKind::kNone;
}

std::string GridMarkets() {
    std::string strMarkets;
    for (const Choice& choice : kChoices) {
        strMarkets += std::string(strMarkets.empty() ? "" : ", ") + choice.szMarket;
    }
    return strMarkets;
}

}  // namespace qrx::futures

namespace BusinessConvertor {

bool IsDCENightCode(std::string strCode) {
    if (strCode.empty() || (strCode[0] != 'j' && strCode[0] != 'p')) return false;
    return strCode.size() == 1 || strCode[1] < 'a' || strCode[1] > 'z';
}

}  // namespace BusinessConvertor
