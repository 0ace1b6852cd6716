// Which calendar date and trading day the rows of a file belong to, and their order. Shared by the
// imports of every kind of row that has nDate, nTime and nDay (0: not known yet).
#ifndef QRX_SERVER_IMPORT_DATE_ROWS_H
#define QRX_SERVER_IMPORT_DATE_ROWS_H

#include <algorithm>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "import/importer.h"
#include "import/trading_day.h"

namespace qrx::server {

// Gives each row its calendar date and its trading day, and sorts by day, date and time: rows, or
// pointers to rows.
template <class Held>
void DateRows(std::vector<Held>& vecRows, NightForm nightForm) {
    const auto rowOf = [](auto& held) -> auto& {
        if constexpr (std::is_pointer_v<Held>) {
            return *held;
        } else {
            return held;
        }
    };
    TradingDays days;
    int nLastDate = 0;
    for (const Held& held : vecRows) {
        const auto& row = rowOf(held);
        if (IsNight(row.nTime) || row.nDate == nLastDate) continue;
        days.AddDayRow(nLastDate = row.nDate);
    }
    for (Held& held : vecRows) {
        auto& row = rowOf(held);
        if (row.nDay != 0) continue;
        row.nDay = row.nDate;
        if (nightForm == NightForm::None || !IsNight(row.nTime)) continue;
        if (nightForm == NightForm::Calendar) {
            row.nDay = days.DayOfNight(row.nDate, row.nTime);
        } else {
            row.nDate = days.DateOfNight(row.nDay, row.nTime);
        }
    }
    // A file with its newest rows first is turned round, so that equal times keep their order.
    const auto stamp = [&](const Held& held) {
        return std::pair(rowOf(held).nDate, rowOf(held).nTime);
    };
    if (!vecRows.empty() && stamp(vecRows.back()) < stamp(vecRows.front())) {
        std::reverse(vecRows.begin(), vecRows.end());
    }
    const auto isBefore = [&](const Held& heldA, const Held& heldB) {
        const auto& a = rowOf(heldA);
        const auto& b = rowOf(heldB);
        return std::tie(a.nDay, a.nDate, a.nTime) < std::tie(b.nDay, b.nDate, b.nTime);
    };
    if (!std::is_sorted(vecRows.begin(), vecRows.end(), isBefore)) {
        std::stable_sort(vecRows.begin(), vecRows.end(), isBefore);
    }
}

}  // namespace qrx::server

#endif
