// See the header.
#include "output/database.h"

#include <filesystem>

#include "app/failure.h"
#include "app/interrupt.h"

namespace qrx::cli {

Database::Database(const std::string& strPath, Creation creation) : m_strPath(strPath) {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(strPath, error);
    if (creation == Creation::Beside && !std::filesystem::exists(status)) {
        m_file.emplace(strPath);
        Open(m_file->UnfinishedPath());
        // Nobody else sees the file, and removing it is how its transaction is undone.
        Run("PRAGMA journal_mode = OFF");
        Run("PRAGMA synchronous = OFF");
    } else {
        Open(strPath);
    }
    // Now and not with the first row: a file that cannot be written is found before the fetching.
    Run("BEGIN IMMEDIATE");
    Run("CREATE TABLE IF NOT EXISTS qrx_tables (name TEXT PRIMARY KEY, \"values\" TEXT NOT NULL, "
        "times TEXT NOT NULL, columns TEXT NOT NULL)");
}

void Database::Open(const std::string& strOpened) {
    sqlite3* p = nullptr;
    const int nResult =
        sqlite3_open_v2(strOpened.c_str(), &p, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    m_pDb.reset(p);
    Check(nResult);
    constexpr int kPatienceMs = 5000;
    sqlite3_busy_timeout(p, kPatienceMs);
}

Database::~Database() {
    if (m_pDb && !m_file) sqlite3_exec(m_pDb.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Database::Check(int nResult) const {
    if (nResult == SQLITE_OK || nResult == SQLITE_ROW || nResult == SQLITE_DONE) return;
    const std::string strReason =
        nResult == SQLITE_BUSY ? "another process is writing to it" : sqlite3_errmsg(m_pDb.get());
    throw Failure(EXIT_OUTPUT, "cannot write " + m_strPath + ": " + strReason);
}

void Database::Run(const std::string& strSql) {
    Check(sqlite3_exec(m_pDb.get(), strSql.c_str(), nullptr, nullptr, nullptr));
}

bool Database::HasTable(const std::string& strTable) {
    Statement find(*this, "SELECT 1 FROM sqlite_master WHERE name = ? COLLATE NOCASE");
    find.Bind(1, strTable);
    return find.Step();
}

void Database::OpenTable(const std::string& strTable, const TableLayout& layout) {
    const std::string* const kParts[] = {&layout.strValues, &layout.strTimes, &layout.strColumns};
    if (!HasTable(strTable)) {
        Run("CREATE TABLE " + Quoted(strTable) + " (" + layout.strColumns + ")");
        Statement remember(*this, "INSERT OR REPLACE INTO qrx_tables VALUES (?, ?, ?, ?)");
        remember.Bind(1, strTable);
        for (int i = 0; i < 3; ++i) remember.Bind(i + 2, *kParts[i]);
        remember.Run();
        return;
    }
    Statement find(*this,
                   "SELECT \"values\", times, columns, name FROM qrx_tables WHERE name = ? "
                   "COLLATE NOCASE");
    find.Bind(1, strTable);
    const std::string strWhere = "the table " + Quoted(strTable) + " of " + m_strPath;
    if (!find.Step()) {
        throw Failure(EXIT_OUTPUT, strWhere + " was not made by qrx; write to another file");
    }
    if (find.Text(3) != strTable) {
        throw Failure(EXIT_OUTPUT, strWhere + " would be its " + Quoted(find.Text(3)) +
                                       ", since letter case does not count there; write to "
                                       "another file");
    }
    static constexpr const char* kOthers[] = {"another --raw or --price-unit", "another --tz",
                                              "other --columns"};
    for (int i = 0; i < 3; ++i) {
        const std::string strOld = find.Text(i);
        if (strOld == *kParts[i]) continue;
        const std::string strBoth = i < 2 ? " (" + strOld + ", not " + *kParts[i] + ")" : "";
        throw Failure(EXIT_OUTPUT, strWhere + " was written with " + kOthers[i] + strBoth +
                                       "; give the same again, or write to another file");
    }
}

void Database::Commit() {
    Run("COMMIT");
    if (m_file) {
        interrupt::Check();
        m_pDb.reset();
        m_file->Place(true, true);
    } else {
        Run("BEGIN IMMEDIATE");
    }
}

Statement::Statement(const Database& database, const std::string& strSql) : m_database(database) {
    sqlite3_stmt* p = nullptr;
    database.Check(sqlite3_prepare_v2(database.Handle(), strSql.c_str(), -1, &p, nullptr));
    m_pStatement.reset(p);
}

void Statement::Bind(int nPlace, int64_t nValue) {
    m_database.Check(sqlite3_bind_int64(m_pStatement.get(), nPlace, nValue));
}

void Statement::Bind(int nPlace, double dValue) {
    m_database.Check(sqlite3_bind_double(m_pStatement.get(), nPlace, dValue));
}

void Statement::Bind(int nPlace, const std::string& strValue) {
    m_database.Check(sqlite3_bind_text(m_pStatement.get(), nPlace, strValue.data(),
                                       static_cast<int>(strValue.size()), SQLITE_STATIC));
}

void Statement::BindNull(int nPlace) {
    m_database.Check(sqlite3_bind_null(m_pStatement.get(), nPlace));
}

bool Statement::Step() {
    const int nResult = sqlite3_step(m_pStatement.get());
    m_database.Check(nResult);
    return nResult == SQLITE_ROW;
}

void Statement::Run() {
    while (Step()) {
    }
    sqlite3_reset(m_pStatement.get());
}

std::string Statement::Text(int nColumn) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(m_pStatement.get(), nColumn));
    return p != nullptr ? p : "";
}

std::string Quoted(const std::string& strName) {
    std::string strOut = "\"";
    for (const char ch : strName) {
        if (ch == '"') strOut += '"';
        strOut += ch;
    }
    return strOut + '"';
}

}  // namespace qrx::cli
