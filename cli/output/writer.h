// One writer a format: a table for eyes, CSV (RFC 4180), JSON with one object a line. That of
// databases is in sqlite.h.
#ifndef QRX_CLI_OUTPUT_WRITER_H
#define QRX_CLI_OUTPUT_WRITER_H

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "output/cell.h"
#include "output/sink.h"

namespace qrx::cli {

class Writer {
public:
    Writer(std::vector<Column> vecColumns, CellStyle style)
        : m_vecColumns(std::move(vecColumns)), m_style(style) {}
    virtual ~Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Cells in the order of the columns.
    virtual void Row(std::span<const Cell> cells) = 0;
    // Nothing stays behind in the writer.
    virtual void End() {}

protected:
    std::vector<Column> m_vecColumns;
    CellStyle m_style;
};

class TextWriter : public Writer {
public:
    TextWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style)
        : Writer(std::move(vecColumns), style), m_sink(sink) {}

protected:
    Sink& m_sink;
};

// "table", "csv" or "jsonl". The header goes out at once.
std::unique_ptr<Writer> MakeTextWriter(const std::string& strFormat, Sink& sink,
                                       std::vector<Column> vecColumns, CellStyle style);

std::unique_ptr<Writer> MakeTableWriter(Sink& sink, std::vector<Column> vecColumns,
                                        CellStyle style);
std::unique_ptr<Writer> MakeCsvWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style);
std::unique_ptr<Writer> MakeJsonWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style);

}  // namespace qrx::cli

#endif
