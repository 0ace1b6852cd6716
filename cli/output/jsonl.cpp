// One JSON object a line. Numbers are numbers (a price with its decimals), dates, times, flags and
// texts are strings, a flag that is not set is null.
#include "output/writer.h"

namespace qrx::cli {
namespace {

void AppendString(const std::string& strText, std::string& out) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (const char ch : strText) {
        const auto nByte = static_cast<unsigned char>(ch);
        if (ch == '"' || ch == '\\') {
            out += '\\';
            out += ch;
        } else if (nByte < 0x20) {
            out += "\\u00";
            out += kHex[nByte >> 4];
            out += kHex[nByte & 15];
        } else {
            out += ch;
        }
    }
    out += '"';
}

class JsonWriter : public TextWriter {
public:
    JsonWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style)
        : TextWriter(sink, std::move(vecColumns), style) {
        for (const Column& column : m_vecColumns) {
            std::string& strKey = m_vecKeys.emplace_back();
            AppendString(column.strName, strKey);
            strKey += ':';
        }
    }

    void Row(std::span<const Cell> cells) override {
        m_strLine = "{";
        for (size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) m_strLine += ',';
            m_strLine += m_vecKeys[i];
            const Column& column = m_vecColumns[i];
            m_strCell.clear();
            AppendCell(column, cells[i], m_style, m_strCell);
            if (column.Numeric() || (m_style.bRaw && column.kind != Kind::Text)) {
                m_strLine += m_strCell;
            } else if (column.kind == Kind::Flag && m_strCell.empty()) {
                m_strLine += "null";
            } else {
                AppendString(m_strCell, m_strLine);
            }
        }
        m_strLine += "}\n";
        m_sink.Write(m_strLine);
    }

private:
    std::vector<std::string> m_vecKeys;
    std::string m_strLine;
    std::string m_strCell;
};

}  // namespace

std::unique_ptr<Writer> MakeJsonWriter(Sink& sink, std::vector<Column> vecColumns,
                                       CellStyle style) {
    return std::make_unique<JsonWriter>(sink, std::move(vecColumns), style);
}

}  // namespace qrx::cli
