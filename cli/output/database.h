// A SQLite file that tables are written to, all or nothing: everything since the opening or the
// last Commit happens in one transaction.
//
// A table qrx_tables in the file remembers how each table was laid out, so that rows of another
// layout are refused instead of mixed in.
#ifndef QRX_CLI_OUTPUT_DATABASE_H
#define QRX_CLI_OUTPUT_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "output/file_beside.h"

namespace qrx::cli {

struct TableLayout {
    std::string strColumns;  // as CREATE TABLE takes them
    std::string strValues;   // "price unit 1e4" or "integers as sent"
    std::string strTimes;    // the zone
};

class Database {
public:
    // Beside: a new file appears with the first Commit, which ends the work on the database.
    // InPlace: Commit may be called as often as wanted, and what was committed stays.
    enum class Creation { Beside, InPlace };

    // All members throw Failure(EXIT_OUTPUT).
    Database(const std::string& strPath, Creation creation);
    ~Database();  // what was not committed is gone
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void Run(const std::string& strSql);
    // Makes the table, or holds the one that is there against the layout.
    void OpenTable(const std::string& strTable, const TableLayout& layout);
    bool HasTable(const std::string& strTable);
    void Commit();

    sqlite3* Handle() const { return m_pDb.get(); }
    void Check(int nResult) const;

private:
    void Open(const std::string& strOpened);

    struct Closer {
        void operator()(sqlite3* p) const { sqlite3_close_v2(p); }
    };
    const std::string m_strPath;
    std::optional<FileBeside> m_file;
    std::unique_ptr<sqlite3, Closer> m_pDb;
};

// A prepared statement. Texts that are bound must live until it has run.
class Statement {
public:
    Statement(const Database& database, const std::string& strSql);

    void Bind(int nPlace, int64_t nValue);
    void Bind(int nPlace, double dValue);
    void Bind(int nPlace, const std::string& strValue);
    void BindNull(int nPlace);
    bool Step();  // true: there is a row
    void Run();   // to the end, and ready for the next
    int64_t Integer() const { return sqlite3_column_int64(m_pStatement.get(), 0); }
    std::string Text(int nColumn) const;

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* p) const { sqlite3_finalize(p); }
    };
    const Database& m_database;
    std::unique_ptr<sqlite3_stmt, Finalizer> m_pStatement;
};

// "name" as an identifier of SQL.
std::string Quoted(const std::string& strName);

}  // namespace qrx::cli

#endif
