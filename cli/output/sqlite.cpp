// See the header.
#include "output/sqlite.h"

#include <map>
#include <set>

#include "app/interrupt.h"
#include "text/encoding.h"

namespace qrx::cli {
namespace {

constexpr int64_t kRowsPerLook = 1024;  // until an interrupt is noticed

bool IsReal(const Column& column, const CellStyle& style) {
    return !style.bRaw && style.nPriceDigits > 0 &&
           (column.kind == Kind::Price || column.kind == Kind::Amount);
}

const char* TypeOf(const Column& column, const CellStyle& style) {
    if (IsReal(column, style)) return "REAL";
    if (column.Numeric() || (style.bRaw && column.kind != Kind::Text)) return "INTEGER";
    return "TEXT";
}

// SQLite takes DIF and dif for one name: a later one gets a number.
std::vector<Column> DistinctNames(std::vector<Column> vecColumns) {
    std::set<std::string> taken;
    for (Column& column : vecColumns) {
        const std::string strName = column.strName;
        for (int n = 2; !taken.insert(FoldCase(column.strName)).second; ++n) {
            column.strName = strName + "_" + std::to_string(n);
        }
    }
    return vecColumns;
}

class SqliteWriter : public Writer {
public:
    SqliteWriter(Database& database, const std::string& strTable, std::vector<Column> vecColumns,
                 CellStyle style, const std::string& strZone, const std::optional<Asked>& asked)
        : Writer(DistinctNames(std::move(vecColumns)), style),
          m_database(database),
          m_strTable(strTable),
          m_vecKeys(KeyColumns(m_vecColumns)),
          m_vecTexts(m_vecColumns.size()) {
        for (int i = 0; i < style.nPriceDigits; ++i) m_dUnit *= 10;
        if (asked) m_ranges.try_emplace(asked->strCode, asked->first, asked->last);
        std::string strColumns;
        std::string strPlaces;
        for (const Column& column : m_vecColumns) {
            if (!strColumns.empty()) strColumns += ", ";
            strColumns += Quoted(column.strName) + " " + TypeOf(column, m_style);
            strPlaces += strPlaces.empty() ? "?" : ", ?";
        }
        database.OpenTable(
            strTable,
            {strColumns,
             style.bRaw ? "integers as sent" : "price unit 1e" + std::to_string(style.nPriceDigits),
             strZone.empty() ? "the exchange's" : strZone});
        Statement last(database, "SELECT coalesce(max(rowid), 0) FROM " + Quoted(strTable));
        last.Step();
        m_nLastOld = last.Integer();
        m_insert.emplace(database,
                         "INSERT INTO " + Quoted(strTable) + " VALUES (" + strPlaces + ")");
    }

    void Row(std::span<const Cell> cells) override {
        if (++m_nRows % kRowsPerLook == 0) interrupt::Check();
        for (size_t i = 0; i < cells.size(); ++i) Bind(i, cells[i]);
        m_insert->Run();
        Stamp stamp{};
        for (size_t n = 1; n < m_vecKeys.size(); ++n) stamp[n - 1] = cells[m_vecKeys[n]].nValue;
        // What a server dates 0 must not stretch the range over all days.
        if (m_vecKeys.size() > 1 && stamp[0] <= 0) return;
        if (cells[m_vecKeys[0]].text != m_strCode || m_pRange == nullptr) {
            m_strCode = cells[m_vecKeys[0]].text;
            m_pRange = &m_ranges.try_emplace(m_strCode, stamp, stamp).first->second;
        }
        m_pRange->first = std::min(m_pRange->first, stamp);
        m_pRange->second = std::max(m_pRange->second, stamp);
    }

    void End() override {
        m_database.Run("CREATE INDEX IF NOT EXISTS " + Quoted(m_strTable + "_key") + " ON " +
                       Quoted(m_strTable) + " (" + KeyNames(0) + ")");
        if (m_nLastOld == 0) return;
        const size_t nStamps = m_vecKeys.size() - 1;
        std::string strWhere = " WHERE rowid <= ? AND " + KeyNames(0, 1) + " = ?";
        if (nStamps > 0) {
            const char* szPlaces = nStamps > 1 ? "(?, ?)" : "(?)";
            strWhere += " AND (" + KeyNames(1) + ") BETWEEN " + szPlaces + " AND " + szPlaces;
        }
        Statement remove(m_database, "DELETE FROM " + Quoted(m_strTable) + strWhere);
        for (const auto& [strCode, range] : m_ranges) {
            remove.Bind(1, m_nLastOld);
            remove.Bind(2, strCode);
            std::array<std::string, 4> texts;
            for (size_t n = 0; n < 2 * nStamps; ++n) {
                const Stamp& stamp = n < nStamps ? range.first : range.second;
                const Cell cell{stamp[n % nStamps]};
                const int nPlace = static_cast<int>(n) + 3;
                if (m_style.bRaw) {
                    remove.Bind(nPlace, cell.nValue);
                } else {
                    AppendCell(m_vecColumns[m_vecKeys[n % nStamps + 1]], cell, m_style, texts[n]);
                    remove.Bind(nPlace, texts[n]);
                }
            }
            remove.Run();
        }
    }

private:
    std::string KeyNames(size_t nFirst, size_t nCount = SIZE_MAX) const {
        std::string strNames;
        for (size_t n = nFirst; n < m_vecKeys.size() && n - nFirst < nCount; ++n) {
            if (n > nFirst) strNames += ", ";
            strNames += Quoted(m_vecColumns[m_vecKeys[n]].strName);
        }
        return strNames;
    }
    void Bind(size_t i, const Cell& cell) {
        const Column& column = m_vecColumns[i];
        const int nPlace = static_cast<int>(i) + 1;
        if (IsReal(column, m_style)) {
            m_insert->Bind(nPlace, static_cast<double>(cell.nValue) / m_dUnit);
        } else if (column.Numeric() || (m_style.bRaw && column.kind != Kind::Text)) {
            m_insert->Bind(nPlace, cell.nValue);
        } else {
            m_vecTexts[i].clear();
            AppendCell(column, cell, m_style, m_vecTexts[i]);
            if (column.kind == Kind::Flag && m_vecTexts[i].empty()) {
                m_insert->BindNull(nPlace);
            } else {
                m_insert->Bind(nPlace, m_vecTexts[i]);
            }
        }
    }

    Database& m_database;
    const std::string m_strTable;
    std::vector<size_t> m_vecKeys;  // places in m_vecColumns
    std::vector<std::string> m_vecTexts;
    double m_dUnit = 1;
    int64_t m_nRows = 0;
    int64_t m_nLastOld = 0;  // the last row that was there before
    std::optional<Statement> m_insert;
    std::map<std::string, std::pair<Stamp, Stamp>> m_ranges;  // that make place, by code
    std::string m_strCode;
    std::pair<Stamp, Stamp>* m_pRange = nullptr;  // that of m_strCode
};

}  // namespace

std::vector<size_t> KeyColumns(const std::vector<Column>& vecColumns) {
    std::vector<size_t> vecKeys = {0};
    for (const Kind kind : {Kind::Date, Kind::Time}) {
        const auto it = std::find_if(vecColumns.begin(), vecColumns.end(),
                                     [&](const Column& column) { return column.kind == kind; });
        if (it != vecColumns.end()) vecKeys.push_back(static_cast<size_t>(it - vecColumns.begin()));
    }
    return vecKeys;
}

std::unique_ptr<Writer> MakeSqliteWriter(Database& database, const std::string& strTable,
                                         std::vector<Column> vecColumns, CellStyle style,
                                         const std::string& strZone,
                                         const std::optional<Asked>& asked) {
    return std::make_unique<SqliteWriter>(database, strTable, std::move(vecColumns), style, strZone,
                                          asked);
}

}  // namespace qrx::cli
