// What a database of qrx's holds, as the columns of a query with bars between, a row a line.
#ifndef QRX_TESTS_CLI_DATABASE_H
#define QRX_TESTS_CLI_DATABASE_H

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

namespace qrx::test {

inline std::string Rows(const std::string& strPath, const std::string& strSql) {
    sqlite3* pDb = nullptr;
    std::string strRows;
    sqlite3_open_v2(strPath.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr);
    const auto add = [](void* pOut, int nColumns, char** ppTexts, char**) {
        auto& strOut = *static_cast<std::string*>(pOut);
        for (int i = 0; i < nColumns; ++i) {
            strOut += (i > 0 ? "|" : "") + std::string(ppTexts[i] != nullptr ? ppTexts[i] : "NULL");
        }
        strOut += '\n';
        return 0;
    };
    if (sqlite3_exec(pDb, strSql.c_str(), add, &strRows, nullptr) != SQLITE_OK) {
        strRows += sqlite3_errmsg(pDb);
    }
    sqlite3_close(pDb);
    return strRows;
}

// Changes it behind qrx's back.
inline void Change(const std::string& strPath, const std::string& strSql) {
    sqlite3* pDb = nullptr;
    sqlite3_open(strPath.c_str(), &pDb);
    EXPECT_EQ(sqlite3_exec(pDb, strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << strSql;
    sqlite3_close(pDb);
}

}  // namespace qrx::test

#endif
