// The session grids of the futures exchanges as tables, and which market and code gets which.
// Times are HHMMSSmmm, every boundary is inclusive. Slot counts follow from the rows; a grid runs
// straight through a break in the middle of the morning.
#ifndef QRX_FUTURES_GRIDS_H
#define QRX_FUTURES_GRIDS_H

#include <string>

namespace qrx::futures {

// Something that must hold while a day is laid onto its grid: the text of the assertion that stops
// the process, and a sentence for people whose day would break it.
struct Rule {
    const char* szAssertion;
    const char* szSentence;
};
inline constexpr Rule kNoPreOpen{"0", "no record at or after the start of the pre-open"};
inline constexpr Rule kOneRecord{"(nEnd == -1)||(nEnd == nOrgCursor)",
                                 "more than one record around the end of a session"};
inline constexpr Rule kSecondSlot{"nSecondItemIndex == nOrgCursor", "records out of order"};
inline constexpr Rule kBeyondGrid{"0", "more slots than the grid has"};
inline constexpr Rule kNoGrid{"0", "the market has no session grid"};

// A run of records that is merged into one slot before trading begins.
struct PreOpen {
    int nFirst;
    int nLast;
    int nSlotTime;
};

// Slots from nFirst to nLast. drift: the time of its last slot, counted from the first, is nLast.
// nCheckUntil: at most one record, the cursor's own, from the last slot up to this time; 0 when
// nothing is checked.
struct Segment {
    int nFirst;
    int nLast;
    Rule drift;
    int nCheckUntil;
};

inline constexpr char kDrifted[] = "records of one second out of order";

struct DayGrid {
    PreOpen preOpen;
    Segment segments[2];
    int nStepMs;
    int nSlotsPerStep;
};
inline constexpr Rule kMorningDrift{"nCurTime == nMorningEndTime", kDrifted};
inline constexpr Rule kCloseDrift{"CFAlign::TimeAdd((*(&futureDst-1)).nTime, nGap) == nCurTime",
                                  kDrifted};
inline constexpr DayGrid kGridSHF = {{85000000, 85900999, 85900500},
                                     {{90000000, 113000000, kMorningDrift, 113500000},
                                      {133000000, 150000000, kCloseDrift, 150001000}},
                                     500,
                                     1};
inline constexpr DayGrid kGridCF = {{91000000, 91459999, 91400500},
                                    {{91500000, 113000000, kMorningDrift, 113500000},
                                     {130000000, 151500000, kCloseDrift, 151501000}},
                                    500,
                                    1};
// Two slots a second, which share its time.
inline constexpr DayGrid kGridDCE = {
    {85000000, 85900999, 85900500},
    {{90000000, 113000000, kMorningDrift, 0},
     {133000000,
      150000000,
      {"CFAlign::TimeAdd((*(&futureDst-1)).nTime, 1000) == nCurTime", kDrifted},
      0}},
    1000,
    2};

// The night grid: four runs of records, each of one date and up to a time, each feeding its own
// segment. The pre-open ranges differ from those of the day grids; both are wanted.
struct NightRun {
    int nMaxTime;
    bool bPreOpen;
    PreOpen preOpen;
    Segment segment;
};
inline constexpr int kNightStepMs = 500;
inline constexpr NightRun kNightGrid[] = {
    {235959999,
     true,
     {205500000, 205959999, 205900500},
     {210000000, 235959500, {"nCurTime == nEndTime1", kDrifted}, 0}},
    {30000000, false, {}, {0, 23000000, {"nCurTime == 23000000", kDrifted}, 0}},
    {120000000,
     true,
     {85500000, 85959999, 85900500},
     {90000000, 113000000, {"nCurTime == 113000000", kDrifted}, 0}},
    {153000000, false, {}, {133000000, 150000000, {"nCurTime == nEndTime4", kDrifted}, 0}}};

// Steps from a segment's first slot to its last, which is one less than its slots' times.
int StepCount(const Segment& segment, int nStepMs);
int SlotCount(const DayGrid& grid);
int NightSlotCount();

enum class GridKind { kSHF, kDCE, kCF, kNight, kUnaligned, kNone };

// By the first characters of the market, whatever their case, and the code. kNone: no such market.
GridKind ChooseGrid(const char* szMarket, const char* szCode);

// The markets of the table: "SHF, CZC, ...".
std::string GridMarkets();

}  // namespace qrx::futures

namespace BusinessConvertor {

// A code of "j" or "p" contracts: that lower-case letter first, and no lower-case letter behind it.
// Upper-case letters do not count, deliberately. Not the test of the same name for bars.
bool IsDCENightCode(std::string strCode);

}  // namespace BusinessConvertor

#endif
