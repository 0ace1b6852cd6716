// A table for eyes: aligned columns under a header, numbers to the right. The widths come from the
// first rows, which are held back for it; a later and wider cell shifts its own line only.
#include "output/writer.h"
#include "text/encoding.h"

namespace qrx::cli {
namespace {

constexpr size_t kRowsHeld = 1000;

class TableWriter : public TextWriter {
public:
    TableWriter(Sink& sink, std::vector<Column> vecColumns, CellStyle style)
        : TextWriter(sink, std::move(vecColumns), style) {
        std::vector<std::string> vecNames;
        for (const Column& column : m_vecColumns) vecNames.push_back(column.strName);
        m_vecWidths.resize(vecNames.size());
        Hold(std::move(vecNames));
    }

    void Row(std::span<const Cell> cells) override {
        std::vector<std::string> vecTexts(cells.size());
        for (size_t i = 0; i < cells.size(); ++i) {
            AppendCell(m_vecColumns[i], cells[i], m_style, vecTexts[i]);
        }
        if (m_bHolding) {
            Hold(std::move(vecTexts));
            if (m_vecHeld.size() > kRowsHeld) Release();
        } else {
            WriteLine(vecTexts);
        }
    }

    void End() override { Release(); }

private:
    void Hold(std::vector<std::string> vecTexts) {
        for (size_t i = 0; i < vecTexts.size(); ++i) {
            m_vecWidths[i] = std::max(m_vecWidths[i], DisplayWidth(vecTexts[i]));
        }
        m_vecHeld.push_back(std::move(vecTexts));
    }
    void Release() {
        m_bHolding = false;
        for (const auto& vecTexts : m_vecHeld) WriteLine(vecTexts);
        m_vecHeld.clear();
    }
    void WriteLine(const std::vector<std::string>& vecTexts) {
        std::string strLine;
        for (size_t i = 0; i < vecTexts.size(); ++i) {
            if (i > 0) strLine += "  ";
            const size_t nWidth = DisplayWidth(vecTexts[i]);
            const size_t nBlanks = m_vecWidths[i] > nWidth ? m_vecWidths[i] - nWidth : 0;
            if (m_vecColumns[i].Numeric()) strLine.append(nBlanks, ' ');
            strLine += vecTexts[i];
            if (!m_vecColumns[i].Numeric()) strLine.append(nBlanks, ' ');
        }
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        m_sink.Write(strLine + "\n");
    }

    std::vector<size_t> m_vecWidths;
    std::vector<std::vector<std::string>> m_vecHeld;
    bool m_bHolding = true;
};

}  // namespace

std::unique_ptr<Writer> MakeTableWriter(Sink& sink, std::vector<Column> vecColumns,
                                        CellStyle style) {
    return std::make_unique<TableWriter>(sink, std::move(vecColumns), style);
}

}  // namespace qrx::cli
