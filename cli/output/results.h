// The rows of a command on their way out: picks the columns, keeps the limit, and opens the writer
// with the first row, so that a command without rows prints nothing.
#ifndef QRX_CLI_OUTPUT_RESULTS_H
#define QRX_CLI_OUTPUT_RESULTS_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "app/arguments.h"
#include "output/columns.h"
#include "output/sink.h"
#include "output/writer.h"

namespace qrx::cli {

class Results {
public:
    // Throws Failure(EXIT_USAGE) for unknown columns and limits, Failure(EXIT_OUTPUT) for a file
    // that cannot be written: before anything is fetched.
    Results(const Arguments& arguments, int nPriceDigits, std::vector<Column> vecColumns);

    // Cells of all columns, those included that are not wanted.
    void Row(std::span<const Cell> cells);
    void Records(const std::vector<RecordColumn>& vecColumns, const void* pRecords, size_t nCount,
                 size_t nRecordBytes);

    bool Full() const { return m_nRows >= m_nLimit; }
    int64_t Rows() const { return m_nRows; }
    Sink& Out() { return m_sink; }
    void Finish();

private:
    void Select(const std::string& strNames, const std::vector<Column>& vecColumns);
    void WriteRow();

    Sink m_sink;
    CellStyle m_style;
    std::string m_strFormat;
    std::vector<size_t> m_vecSelected;  // places in the row of all columns
    std::vector<Column> m_vecColumns;   // the selected ones
    std::vector<Cell> m_vecCells;
    std::unique_ptr<Writer> m_pWriter;
    int64_t m_nLimit = INT64_MAX;
    int64_t m_nRows = 0;
};

template <class Record>
std::vector<Column> PlainColumnsOf() {
    return {ColumnsOf<Record>().begin(), ColumnsOf<Record>().end()};
}

}  // namespace qrx::cli

#endif
