// Owners over the C interface of SQLite: a connection and a prepared statement. Every failure is a
// StoreError with SQLite's own words.
#ifndef QRX_SERVER_STORE_SQLITE_H
#define QRX_SERVER_STORE_SQLITE_H

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "store/store.h"

namespace qrx::server {

struct SqliteCloser {
    void operator()(sqlite3* p) const { sqlite3_close_v2(p); }
    void operator()(sqlite3_stmt* p) const { sqlite3_finalize(p); }
};
using SqliteConnection = std::unique_ptr<sqlite3, SqliteCloser>;

inline void CheckSqlite(sqlite3* pDb, int nResult) {
    if (nResult != SQLITE_OK && nResult != SQLITE_ROW && nResult != SQLITE_DONE) {
        throw StoreError(std::string("store: ") + sqlite3_errmsg(pDb));
    }
}

// One use of a statement: bound in order, stepped, read by column. Texts and blobs that are bound
// must live until the statement is reset or gone.
class Statement {
public:
    Statement(sqlite3* pDb, std::string_view strSql) : m_pDb(pDb) {
        sqlite3_stmt* p = nullptr;
        CheckSqlite(pDb, sqlite3_prepare_v2(pDb, strSql.data(), static_cast<int>(strSql.size()), &p,
                                            nullptr));
        m_pStatement.reset(p);
    }

    template <class... Values>
    Statement& Bind(const Values&... values) {
        sqlite3_reset(m_pStatement.get());
        int n = 0;
        (BindOne(++n, values), ...);
        return *this;
    }
    bool Step() {
        const int n = sqlite3_step(m_pStatement.get());
        CheckSqlite(m_pDb, n);
        return n == SQLITE_ROW;
    }
    void Run() {
        while (Step()) {
        }
    }

    int64_t Long(int nColumn) { return sqlite3_column_int64(m_pStatement.get(), nColumn); }
    int Int(int nColumn) { return sqlite3_column_int(m_pStatement.get(), nColumn); }
    double Double(int nColumn) { return sqlite3_column_double(m_pStatement.get(), nColumn); }
    std::string Bytes(int nColumn) {
        const void* p = sqlite3_column_blob(m_pStatement.get(), nColumn);
        const auto n = static_cast<size_t>(sqlite3_column_bytes(m_pStatement.get(), nColumn));
        return p == nullptr ? std::string() : std::string(static_cast<const char*>(p), n);
    }

private:
    struct Blob {
        const std::string& strBytes;
    };

public:
    static Blob AsBlob(const std::string& strBytes) { return {strBytes}; }

private:
    void BindOne(int n, int64_t v) {
        CheckSqlite(m_pDb, sqlite3_bind_int64(m_pStatement.get(), n, v));
    }
    void BindOne(int n, int v) { BindOne(n, static_cast<int64_t>(v)); }
    void BindOne(int n, double v) {
        CheckSqlite(m_pDb, sqlite3_bind_double(m_pStatement.get(), n, v));
    }
    void BindOne(int n, const std::string& v) {
        CheckSqlite(m_pDb, sqlite3_bind_text(m_pStatement.get(), n, v.data(),
                                             static_cast<int>(v.size()), SQLITE_STATIC));
    }
    void BindOne(int n, const Blob& v) {
        CheckSqlite(m_pDb, sqlite3_bind_blob(m_pStatement.get(), n, v.strBytes.data(),
                                             static_cast<int>(v.strBytes.size()), SQLITE_STATIC));
    }

    sqlite3* m_pDb;
    std::unique_ptr<sqlite3_stmt, SqliteCloser> m_pStatement;
};

}  // namespace qrx::server

#endif
