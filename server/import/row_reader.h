// One row of a file as security, date, time and fields: what all imports of records have in common.
#ifndef QRX_SERVER_IMPORT_ROW_READER_H
#define QRX_SERVER_IMPORT_ROW_READER_H

#include <optional>
#include <string>
#include <vector>

#include "import/field_table.h"
#include "import/importer.h"
#include "import/values.h"

namespace qrx::server {

struct RowStamp {
    std::string strMarket;
    std::string strCode;
    int nDate = 0;
    int nTime = 0;
    int nDay = 0;  // 0: the row does not say

    // What was read last: most rows repeat their security and date.
    std::string strCodeText, strMarketText, strDateText;
};

// The largest magnitude that a record of the wire can hold in 64 bits.
inline constexpr int64_t kMostSent = (int64_t{1} << 56) - 1;

// A field in the column that fills it, and how that column's text is read.
struct BoundField {
    Field field;
    int nColumn;
    int nShift;     // decimals that the value keeps
    int64_t nMost;  // and its largest magnitude
};

class RowReader {
public:
    // vecColumns: the names beyond those of the stamp that the import knows.
    RowReader(LineReader& lines, const ImportOptions& options,
              const std::vector<std::string>& vecColumns, bool bNeedsTime = true);
    // The same for other lines of the file; both must outlive the reader.
    RowReader(const RowReader& other, LineReader& lines);

    const Columns& GetColumns() const { return m_columns; }
    int64_t Line() const { return m_lines.Line(); }

    // The next row that is not empty. Throws ImportError for a row that cannot be understood.
    bool Next();
    // Which security and when; only after Next. The stamp is reused, as securities rarely change.
    void ReadStamp(RowStamp& stamp) const;
    BoundField Bind(const Field& field, int nColumn) const;
    // The column must be there.
    int64_t Value(const BoundField& bound) const {
        const std::string_view strText = m_columns[bound.nColumn];
        if (bound.field.kind == FieldKind::Flag) {
            if (strText.size() == 1 && strText[0] > ' ') return strText[0];
        } else if (int64_t nValue;
                   ParsePlainDecimal(strText, bound.nShift, nValue) && nValue <= bound.nMost) {
            return nValue;
        }
        return UnusualValue(bound);
    }

    [[noreturn]] void Refuse(const std::string& strText) const;
    std::string Text(int nColumn) const;  // in UTF-8

private:
    int64_t UnusualValue(const BoundField& bound) const;

    LineReader& m_lines;
    const ImportOptions& m_options;
    Columns m_columns;
    int m_nMarket, m_nCode, m_nDate, m_nTime, m_nDateTime, m_nDay, m_nMillisecond;
};

// The header as columns; the names of the stamp are added to those given.
Columns ReadHeader(LineReader& lines, const ImportOptions& options,
                   std::vector<std::string> vecColumns);

// "600000" in "SH", or "600000.SH": both parts, the market in upper case.
void SplitCode(const std::string& strCode, const std::string& strMarket, RowStamp& stamp);

}  // namespace qrx::server

#endif
