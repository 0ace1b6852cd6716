// Comma-separated values: a header line, quotes where a text needs them, lines ended by LF.
#include <utility>

#include "output/writer.h"

namespace qrx::cli {
namespace {

class CsvWriter : public TextWriter {
public:
    CsvWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style)
        : TextWriter(sink, std::move(vecColumns), style) {
        for (const Column& column : m_vecColumns) {
            Separate();
            AppendQuoted(column.strName);
        }
        EndLine();
    }

    void Row(std::span<const Cell> cells) override {
        for (size_t i = 0; i < cells.size(); ++i) {
            Separate();
            m_strCell.clear();
            AppendCell(m_vecColumns[i], cells[i], m_style, m_strCell);
            AppendQuoted(m_strCell);
        }
        EndLine();
    }

private:
    void Separate() {
        if (!std::exchange(m_bFirst, false)) m_strLine += ',';
    }
    void AppendQuoted(const std::string& strText) {
        if (strText.find_first_of(",\"\r\n") == std::string::npos) {
            m_strLine += strText;
            return;
        }
        m_strLine += '"';
        for (const char ch : strText) {
            if (ch == '"') m_strLine += '"';
            m_strLine += ch;
        }
        m_strLine += '"';
    }
    void EndLine() {
        m_strLine += '\n';
        m_sink.Write(m_strLine);
        m_strLine.clear();
        m_bFirst = true;
    }

    std::string m_strLine;
    std::string m_strCell;
    bool m_bFirst = true;
};

}  // namespace

std::unique_ptr<Writer> MakeCsvWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style) {
    return std::make_unique<CsvWriter>(sink, std::move(vecColumns), style);
}

}  // namespace qrx::cli
