// The rows of a command on their way out: picks the columns, moves times to another zone, keeps the
// limit, and opens the writer with the first row, so that a command without rows prints nothing.
#ifndef QRX_CLI_OUTPUT_RESULTS_H
#define QRX_CLI_OUTPUT_RESULTS_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "output/choice.h"
#include "output/columns.h"
#include "output/database.h"
#include "output/sink.h"
#include "output/sqlite.h"
#include "output/writer.h"
#include "text/dates.h"

namespace qrx::cli {

// What kind of rows a command gives.
struct Shape {
    std::string strTable;  // their table in a database: "ticks", "bars_1m"
    std::vector<Column> vecColumns;
    // Date and time make an instant, that zones show differently; else dates are days.
    bool bInstants = true;
};

class Results {
public:
    // Throws Failure(EXIT_USAGE) for unknown columns, Failure(EXIT_OUTPUT) for a file that cannot
    // be written: before anything is fetched.
    Results(OutputChoice choice, Shape shape);
    // Into a database that the caller commits.
    Results(OutputChoice choice, Shape shape, Database& database);

    // What the rows that are to come were asked for as. A table holds just them afterwards.
    void AskedFor(const std::string& strCode, const DayRange& range);

    // Cells of all columns, those included that are not wanted.
    void Row(std::span<const Cell> cells);
    void Records(const std::vector<RecordColumn>& vecColumns, const void* pRecords, size_t nCount,
                 size_t nRecordBytes);

    bool Full() const { return m_nRows >= m_choice.nLimit; }
    int64_t Rows() const { return m_nRows; }
    void Flush();
    void Finish();

private:
    void Select();
    void Shift();
    void WriteRow();
    void OpenTable();
    bool ToDatabase() const { return m_choice.strFormat == "sqlite"; }

    OutputChoice m_choice;
    Shape m_shape;
    std::unique_ptr<Sink> m_pSink;      // of texts
    std::unique_ptr<Database> m_pOwn;   // of a file of this command alone
    Database* m_pDatabase = nullptr;    // that one, or the caller's
    std::vector<size_t> m_vecSelected;  // places in the row of all columns
    std::vector<Column> m_vecColumns;   // the selected ones
    std::vector<Cell> m_vecCells;       // of the selected columns
    std::vector<Cell> m_vecAll;         // of all columns, where a zone needs more
    std::vector<size_t> m_vecStamp;     // places of date and time, where a zone moves them
    std::optional<Asked> m_asked;
    std::unique_ptr<Writer> m_pWriter;
    int64_t m_nRows = 0;
};

// Throws Failure(EXIT_USAGE) for a name of --columns that the shape lacks.
void CheckColumns(const std::string& strNames, const Shape& shape);

template <class Record>
std::vector<Column> PlainColumnsOf() {
    return {ColumnsOf<Record>().begin(), ColumnsOf<Record>().end()};
}

}  // namespace qrx::cli

#endif
