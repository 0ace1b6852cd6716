// Which calendar date and trading day the rows of a file belong to, and their order. Shared by the
// imports of every kind of row that has nDate, nTime and nDay (0: not known yet).
#ifndef QRX_SERVER_IMPORT_DATE_ROWS_H
#define QRX_SERVER_IMPORT_DATE_ROWS_H

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include "import/importer.h"
#include "import/trading_day.h"

namespace qrx::server {

// Gives each row its calendar date and its trading day, and sorts by day, date and time.
template <class Row>
void DateRows(std::vector<Row>& vecRows, NightForm nightForm) {
    TradingDays days;
    int nLastDate = 0;
    for (const Row& row : vecRows) {
        if (IsNight(row.nTime) || row.nDate == nLastDate) continue;
        days.AddDayRow(nLastDate = row.nDate);
    }
    for (Row& row : vecRows) {
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
    const auto stamp = [](const Row& row) { return std::pair(row.nDate, row.nTime); };
    if (!vecRows.empty() && stamp(vecRows.back()) < stamp(vecRows.front())) {
        std::reverse(vecRows.begin(), vecRows.end());
    }
    const auto isBefore = [](const Row& a, const Row& b) {
        return std::tie(a.nDay, a.nDate, a.nTime) < std::tie(b.nDay, b.nDate, b.nTime);
    };
    if (!std::is_sorted(vecRows.begin(), vecRows.end(), isBefore)) {
        std::stable_sort(vecRows.begin(), vecRows.end(), isBefore);
    }
}

}  // namespace qrx::server

#endif
