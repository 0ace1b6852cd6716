// Rows as the rows of one table of a database. Dates are texts (2024-01-05), times are texts
// (09:30:00.500), prices and amounts reals, flags texts or null, and everything else integers; with
// --raw everything but texts is an integer.
//
// Writing the same again leaves the table as it was: of each code, the rows between the first and
// the last new one, in date and time, make place for the new ones, and so do those between the
// first and the last moment that was asked for, where there may be no new ones. Trading days of one
// code follow each other in date and time, nights included, so that is just what was fetched,
// whatever slice of a day or number of days. Rows without a date (codes, formulas) replace those
// with the same first column.
#ifndef QRX_CLI_OUTPUT_SQLITE_H
#define QRX_CLI_OUTPUT_SQLITE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "output/database.h"
#include "output/writer.h"

namespace qrx::cli {

// Which columns tell the rows to replace: the first, and date and time where there are such. They
// are stored whether they were asked for or not.
std::vector<size_t> KeyColumns(const std::vector<Column>& vecColumns);

// Date and time as they are stored; without time 0.
using Stamp = std::array<int64_t, 2>;

// What was asked for.
struct Asked {
    std::string strCode;
    Stamp first{};
    Stamp last{};
};

// strZone: the zone of the times, "" for the exchange's.
std::unique_ptr<Writer> MakeSqliteWriter(Database& database, const std::string& strTable,
                                         std::vector<Column> vecColumns, CellStyle style,
                                         const std::string& strZone,
                                         const std::optional<Asked>& asked);

}  // namespace qrx::cli

#endif
