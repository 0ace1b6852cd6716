// See the header. A unit gives every bar a number; the bars that begin a new number are named.
#include "chart/time_axis.h"

#include <chrono>
#include <cstdio>

namespace qrx::cli::chart {
namespace {

constexpr int kBetween = 2;  // blanks from label to label

int64_t DayNumber(const Bar& bar) {
    const auto ymd =
        std::chrono::year(bar.nDate / 10000) / (bar.nDate / 100 % 100) / (bar.nDate % 100);
    return std::chrono::sys_days(ymd).time_since_epoch().count();
}

}  // namespace

int64_t SecondsOf(const Bar& bar) {
    constexpr int64_t kDaySeconds = 86400;
    const int n = bar.nTime / 1000;
    return DayNumber(bar) * kDaySeconds + n / 10000 * 3600 + n / 100 % 100 * 60 + n % 100;
}

namespace {

enum class Unit { Seconds, Days, Weeks, Months, Years };

struct UnitRow {
    Unit unit;
    int nMany;
};
constexpr UnitRow kUnits[] = {
    {Unit::Seconds, 1},        {Unit::Seconds, 5},       {Unit::Seconds, 15},
    {Unit::Seconds, 30},       {Unit::Seconds, 60},      {Unit::Seconds, 2 * 60},
    {Unit::Seconds, 5 * 60},   {Unit::Seconds, 10 * 60}, {Unit::Seconds, 15 * 60},
    {Unit::Seconds, 30 * 60},  {Unit::Seconds, 3600},    {Unit::Seconds, 2 * 3600},
    {Unit::Seconds, 6 * 3600}, {Unit::Days, 1},          {Unit::Weeks, 1},
    {Unit::Months, 1},         {Unit::Months, 3},        {Unit::Months, 6},
    {Unit::Years, 1},          {Unit::Years, 2},         {Unit::Years, 5},
    {Unit::Years, 10},         {Unit::Years, 20},        {Unit::Years, 50}};

int64_t NumberOf(const Bar& bar, const UnitRow& row) {
    constexpr int64_t kThursday = 3;  // the epoch's day of week, counted from Monday
    switch (row.unit) {
        case Unit::Seconds:
            return SecondsOf(bar) / row.nMany;
        case Unit::Days:
            return DayNumber(bar);
        case Unit::Weeks:
            return (DayNumber(bar) + kThursday) / 7;
        case Unit::Months:
            return (bar.nDate / 10000 * 12 + bar.nDate / 100 % 100 - 1) / row.nMany;
        case Unit::Years:
            return bar.nDate / 10000 / row.nMany;
    }
    return 0;
}

std::string Text(const char* szFormat, int n1, int n2 = 0, int n3 = 0) {
    char szText[64];
    snprintf(szText, sizeof szText, szFormat, n1, n2, n3);
    return szText;
}

std::string FineText(const Bar& bar, const UnitRow& row) {
    const int nYear = bar.nDate / 10000;
    const int nMonth = bar.nDate / 100 % 100;
    const int nTime = bar.nTime / 1000;
    switch (row.unit) {
        case Unit::Seconds:
            return row.nMany < 60
                       ? Text("%02d:%02d:%02d", nTime / 10000, nTime / 100 % 100, nTime % 100)
                       : Text("%02d:%02d", nTime / 10000, nTime / 100 % 100);
        case Unit::Days:
        case Unit::Weeks:
            return Text("%02d-%02d", nMonth, bar.nDate % 100);
        case Unit::Months:
            return Text("%04d-%02d", nYear, nMonth);
        case Unit::Years:
            return Text("%04d", nYear);
    }
    return "";
}

// Dates under times, years under days, nothing under longer units.
std::string CoarseText(const Bar& bar, const UnitRow& row) {
    if (row.unit == Unit::Seconds) {
        return Text("%04d-%02d-%02d", bar.nDate / 10000, bar.nDate / 100 % 100, bar.nDate % 100);
    }
    return row.unit == Unit::Days || row.unit == Unit::Weeks ? Text("%04d", bar.nDate / 10000) : "";
}

// The first bar of every number is named, as far as there is room; where the chart begins, a number
// may be cut short, and its label gives way to the next one. Returns whether all others were named.
template <class NumberOfBar, class TextOfBar>
bool Name(const std::vector<Bar>& vecBars, int nSlot, int nColumns, NumberOfBar number,
          TextOfBar text, std::vector<TimeLabel>& vecLabels) {
    bool bAll = true;
    bool bGaveWay = false;
    int nFree = 0;
    for (size_t i = 0; i < vecBars.size(); ++i) {
        if (i > 0 && number(vecBars[i]) == number(vecBars[i - 1])) continue;
        const int nColumn = static_cast<int>(i) * nSlot;
        std::string strText = text(vecBars[i]);
        const int nEnd = nColumn + static_cast<int>(strText.size());
        if (strText.empty()) continue;
        if (nColumn < nFree && vecLabels.size() == 1 && vecLabels[0].nColumn == 0) {
            vecLabels.clear();
            bGaveWay = true;
        } else if (nColumn < nFree) {
            bAll = false;
            continue;
        }
        if (nEnd <= nColumns) {
            vecLabels.push_back({nColumn, std::move(strText)});
            nFree = nEnd + kBetween;
        }
    }
    return bAll && (!bGaveWay || vecLabels.size() > 1);
}

}  // namespace

TimeAxis MakeTimeAxis(const std::vector<Bar>& vecBars, bool bTimes, int nSlot, int nColumns) {
    TimeAxis axis;
    for (const UnitRow& row : kUnits) {
        if (!bTimes && row.unit == Unit::Seconds) continue;
        axis = {};
        const bool bAll = Name(
            vecBars, nSlot, nColumns, [&](const Bar& bar) { return NumberOf(bar, row); },
            [&](const Bar& bar) { return FineText(bar, row); }, axis.vecFine);
        Name(
            vecBars, nSlot, nColumns,
            [&](const Bar& bar) {
                return row.unit == Unit::Seconds ? int64_t{bar.nDate} : bar.nDate / 10000;
            },
            [&](const Bar& bar) { return CoarseText(bar, row); }, axis.vecCoarse);
        if (bAll) break;
    }
    return axis;
}

}  // namespace qrx::cli::chart
