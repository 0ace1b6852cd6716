// The embedded store: one SQLite file, one connection, one mutex. The file keeps a write-ahead log,
// so that a running server reads while an import writes. A Batch holds the mutex until it ends.
//
// Formulas are what a running server writes, and a write waits for a running import. So they have a
// connection and a mutex of their own, and nobody who reads data waits with them.
#include <sys/stat.h>

#include <ctime>
#include <mutex>

#include "store/sqlite.h"
#include "store/sqlite_tables.h"
#include "store/store.h"

namespace qrx::server {
namespace {

constexpr int kApplicationId = 0x51525853;  // marks the file as a store
constexpr int kVersion = 1;                 // of the tables

int Today() {
    const time_t now = time(nullptr);
    tm t{};
    gmtime_r(&now, &t);
    return (t.tm_year + 1900) * 10000 + (t.tm_mon + 1) * 100 + t.tm_mday;
}

class SqliteStore final : public Store {
public:
    SqliteStore(const std::string& strPath, bool bCreate) {
        struct stat info {};
        const bool bExists = stat(strPath.c_str(), &info) == 0;
        if (bCreate && bExists) throw StoreError(strPath + " exists already");
        if (!bCreate && !bExists) throw StoreError(strPath + " does not exist; make it with init");
        m_strPath = strPath;
        m_pDb = Connect(strPath, bCreate);
        if (bCreate) {
            // Hashes of passwords lie inside: nobody but the owner reads the file.
            chmod(strPath.c_str(), S_IRUSR | S_IWUSR);
            Execute("PRAGMA application_id = " + std::to_string(kApplicationId));
            Execute("PRAGMA journal_mode = WAL");
            Execute("BEGIN");
            Execute(kTables);
            Execute("PRAGMA user_version = " + std::to_string(kVersion));
            Execute("COMMIT");
        } else {
            if (Value("PRAGMA application_id") != kApplicationId) {
                throw StoreError(strPath + " is not a store of qrx-server");
            }
            if (Value("PRAGMA user_version") != kVersion) {
                throw StoreError(strPath + " was made by another version of qrx-server");
            }
        }
        Prepare(Db());
        Execute("PRAGMA cache_size = -65536");  // 64 MiB
    }

    bool AddUser(const UserRow& user) override {
        const std::lock_guard lock(m_mutex);
        if (FindUser(user.strName)) return false;
        Batch batch(*this);
        Statement(Db(), "INSERT INTO user VALUES (?, ?)").Bind(user.strName, user.strHash).Run();
        Statement insert(Db(), "INSERT INTO user_market VALUES (?, ?, ?)");
        int nSeq = 0;
        for (const auto& strMarket : user.vecMarkets) {
            insert.Bind(user.strName, nSeq++, strMarket).Run();
        }
        batch.Commit();
        return true;
    }

    bool RemoveUser(const std::string& strName) override {
        const std::lock_guard lock(m_mutex);
        Statement(Db(), "DELETE FROM user WHERE name = ?").Bind(strName).Run();
        return sqlite3_changes(Db()) != 0;
    }

    std::optional<UserRow> FindUser(const std::string& strName) override {
        const std::lock_guard lock(m_mutex);
        Statement select(Db(), "SELECT hash FROM user WHERE name = ?");
        if (!select.Bind(strName).Step()) return std::nullopt;
        return UserRow{strName, select.Bytes(0), Markets(strName)};
    }

    std::vector<UserRow> Users() override {
        const std::lock_guard lock(m_mutex);
        std::vector<UserRow> vec;
        Statement select(Db(), "SELECT name, hash FROM user ORDER BY name");
        while (select.Step()) {
            const std::string strName = select.Bytes(0);
            vec.push_back({strName, select.Bytes(1), Markets(strName)});
        }
        return vec;
    }

    void PutCodes(const std::string& strMarket, const std::vector<CodeRow>& vecCodes) override {
        const std::lock_guard lock(m_mutex);
        Statement(Db(), "INSERT OR REPLACE INTO market VALUES (?, ?)")
            .Bind(strMarket, Today())
            .Run();
        Statement insert(Db(),
                         "INSERT INTO code (market, code, name, type) VALUES (?, ?, ?, ?)"
                         " ON CONFLICT (market, code) DO UPDATE SET code = excluded.code,"
                         " name = excluded.name, type = excluded.type");
        for (const auto& row : vecCodes) {
            insert.Bind(strMarket, row.strCode, row.strName, row.nType).Run();
        }
    }

    std::vector<CodeRow> Codes(const std::string& strMarket) override {
        const std::lock_guard lock(m_mutex);
        std::vector<CodeRow> vec;
        Statement select(Db(), "SELECT code, name, type FROM code WHERE market = ? ORDER BY seq");
        select.Bind(strMarket);
        while (select.Step()) vec.push_back({select.Bytes(0), select.Bytes(1), select.Int(2)});
        return vec;
    }

    std::optional<CodeRow> FindCode(const std::string& strMarket,
                                    const std::string& strCode) override {
        const std::lock_guard lock(m_mutex);
        Statement select(Db(), "SELECT code, name, type FROM code WHERE market = ? AND code = ?");
        if (!select.Bind(strMarket, strCode).Step()) return std::nullopt;
        return CodeRow{select.Bytes(0), select.Bytes(1), select.Int(2)};
    }

    int CodesChanged(const std::string& strMarket) override {
        const std::lock_guard lock(m_mutex);
        Statement select(Db(), "SELECT changed FROM market WHERE name = ?");
        return select.Bind(strMarket).Step() ? select.Int(0) : 0;
    }

    void PutDay(DayKind kind, const DayKey& key, const std::vector<StreamChunk>& vec) override {
        const std::lock_guard lock(m_mutex);
        const auto nKind = static_cast<int>(kind);
        Statement(Db(), "DELETE FROM chunk WHERE market = ? AND code = ? AND kind = ? AND day = ?")
            .Bind(key.strMarket, key.strCode, nKind, key.nDay)
            .Run();
        Statement insert(Db(),
                         "INSERT INTO chunk (market, code, kind, day, seq, date, items, stream)"
                         " VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
        int nSeq = 0;
        for (const auto& chunk : vec) {
            insert
                .Bind(key.strMarket, key.strCode, nKind, key.nDay, nSeq++, chunk.nDate,
                      chunk.nItems, Statement::AsBlob(chunk.strStream))
                .Run();
        }
    }

    std::vector<ChunkRef> ListDay(DayKind kind, const DayKey& key) override {
        const std::lock_guard lock(m_mutex);
        std::vector<ChunkRef> vec;
        Statement select(Db(),
                         "SELECT id, date, items FROM chunk WHERE market = ? AND code = ?"
                         " AND kind = ? AND day = ? ORDER BY seq");
        select.Bind(key.strMarket, key.strCode, static_cast<int>(kind), key.nDay);
        while (select.Step()) vec.push_back({select.Long(0), select.Int(1), select.Int(2)});
        return vec;
    }

    bool ReadChunk(int64_t nId, std::string& strStream) override {
        const std::lock_guard lock(m_mutex);
        Statement select(Db(), "SELECT stream FROM chunk WHERE id = ?");
        if (!select.Bind(nId).Step()) return false;
        strStream = select.Bytes(0);
        return true;
    }

    std::vector<int> Days(DayKind kind, const std::string& strMarket, const std::string& strCode,
                          int nFrom, int nTo) override {
        const std::lock_guard lock(m_mutex);
        std::vector<int> vec;
        Statement select(Db(),
                         "SELECT DISTINCT day FROM chunk WHERE market = ? AND code = ?"
                         " AND kind = ? AND day BETWEEN ? AND ? ORDER BY day");
        select.Bind(strMarket, strCode, static_cast<int>(kind), nFrom, nTo);
        while (select.Step()) vec.push_back(select.Int(0));
        return vec;
    }

    void PutDayReference(const DayKey& key, const DayReference& r) override {
        const std::lock_guard lock(m_mutex);
        Statement(Db(), "INSERT OR REPLACE INTO day_reference VALUES (?, ?, ?, ?, ?, ?)")
            .Bind(key.strMarket, key.strCode, key.nDay, r.nPrevSettle, r.nPrevClose,
                  r.nPrevOpenInterest)
            .Run();
    }

    DayReference GetDayReference(const DayKey& key) override {
        const std::lock_guard lock(m_mutex);
        Statement select(Db(),
                         "SELECT settle, close, interest FROM day_reference"
                         " WHERE market = ? AND code = ? AND day = ?");
        if (!select.Bind(key.strMarket, key.strCode, key.nDay).Step()) return {};
        return {select.Int(0), select.Int(1), select.Int(2)};
    }

    void PutAdjustFactors(const std::string& strMarket, const std::string& strCode,
                          const std::vector<AdjustFactor>& vecFactors) override {
        const std::lock_guard lock(m_mutex);
        Statement(Db(), "DELETE FROM adjust WHERE market = ? AND code = ?")
            .Bind(strMarket, strCode)
            .Run();
        Statement insert(Db(), "INSERT INTO adjust VALUES (?, ?, ?, ?)");
        for (const auto& f : vecFactors) insert.Bind(strMarket, strCode, f.nDate, f.fFactor).Run();
    }

    std::vector<AdjustFactor> AdjustFactors(const std::string& strMarket,
                                            const std::string& strCode) override {
        const std::lock_guard lock(m_mutex);
        std::vector<AdjustFactor> vec;
        Statement select(Db(),
                         "SELECT date, factor FROM adjust WHERE market = ? AND code = ?"
                         " ORDER BY date");
        select.Bind(strMarket, strCode);
        while (select.Step()) vec.push_back({select.Int(0), select.Double(1)});
        return vec;
    }

    FormulaPut PutFormula(const std::string& strUser, const FormulaRow& formula,
                          int nMost) override {
        const std::lock_guard lock(m_formulaMutex);
        const bool bTaken = FindFormula(strUser, formula.strName).has_value();
        Statement count(FormulaDb(), "SELECT count(*) FROM formula WHERE user = ?");
        count.Bind(strUser).Step();
        if (!bTaken && count.Int(0) >= nMost) return FormulaPut::TooMany;
        Statement(FormulaDb(), "INSERT OR REPLACE INTO formula VALUES (?, ?, ?)")
            .Bind(strUser, Statement::AsBlob(formula.strName), Statement::AsBlob(formula.strText))
            .Run();
        return bTaken ? FormulaPut::Replaced : FormulaPut::Added;
    }

    bool RemoveFormula(const std::string& strUser, const std::string& strName) override {
        const std::lock_guard lock(m_formulaMutex);
        Statement(FormulaDb(), "DELETE FROM formula WHERE user = ? AND name = ?")
            .Bind(strUser, Statement::AsBlob(strName))
            .Run();
        return sqlite3_changes(FormulaDb()) != 0;
    }

    std::optional<std::string> FindFormula(const std::string& strUser,
                                           const std::string& strName) override {
        const std::lock_guard lock(m_formulaMutex);
        Statement select(FormulaDb(), "SELECT text FROM formula WHERE user = ? AND name = ?");
        if (!select.Bind(strUser, Statement::AsBlob(strName)).Step()) return std::nullopt;
        return select.Bytes(0);
    }

    std::vector<FormulaRow> Formulas(const std::string& strUser, int nTextBytes) override {
        const std::lock_guard lock(m_formulaMutex);
        std::vector<FormulaRow> vec;
        Statement select(FormulaDb(),
                         "SELECT name, substr(text, 1, ?) FROM formula WHERE user = ?"
                         " ORDER BY name");
        select.Bind(nTextBytes, strUser);
        while (select.Step()) vec.push_back({select.Bytes(0), select.Bytes(1)});
        return vec;
    }

protected:
    void Begin() override {
        m_mutex.lock();
        try {
            Execute("BEGIN IMMEDIATE");
        } catch (...) {
            m_mutex.unlock();
            throw;
        }
    }
    void Commit() override {
        Execute("COMMIT");
        m_mutex.unlock();
    }
    void Rollback() noexcept override {
        sqlite3_exec(Db(), "ROLLBACK", nullptr, nullptr, nullptr);
        m_mutex.unlock();
    }

private:
    static SqliteConnection Connect(const std::string& strPath, bool bCreate) {
        sqlite3* p = nullptr;
        const int nFlags = SQLITE_OPEN_READWRITE | (bCreate ? SQLITE_OPEN_CREATE : 0);
        const int nResult = sqlite3_open_v2(strPath.c_str(), &p, nFlags, nullptr);
        SqliteConnection pDb(p);
        CheckSqlite(p, nResult);
        sqlite3_busy_timeout(p, 30000);
        return pDb;
    }
    static void Execute(sqlite3* pDb, const std::string& strSql) {
        CheckSqlite(pDb, sqlite3_exec(pDb, strSql.c_str(), nullptr, nullptr, nullptr));
    }
    static void Prepare(sqlite3* pDb) {
        Execute(pDb, "PRAGMA synchronous = NORMAL");
        Execute(pDb, "PRAGMA foreign_keys = ON");
    }
    sqlite3* Db() { return m_pDb.get(); }
    void Execute(const std::string& strSql) { Execute(Db(), strSql); }
    // Under its mutex.
    sqlite3* FormulaDb() {
        if (!m_pFormulaDb) {
            auto pDb = Connect(m_strPath, false);
            Prepare(pDb.get());
            Execute(pDb.get(), kFormulaTable);
            m_pFormulaDb = std::move(pDb);
        }
        return m_pFormulaDb.get();
    }
    int64_t Value(const char* szSql) {
        Statement select(Db(), szSql);
        return select.Step() ? select.Long(0) : 0;
    }
    std::vector<std::string> Markets(const std::string& strUser) {
        std::vector<std::string> vec;
        Statement select(Db(), "SELECT market FROM user_market WHERE user = ? ORDER BY seq");
        select.Bind(strUser);
        while (select.Step()) vec.push_back(select.Bytes(0));
        return vec;
    }

    std::recursive_mutex m_mutex;  // guards the connection
    SqliteConnection m_pDb;
    std::string m_strPath;
    std::recursive_mutex m_formulaMutex;  // guards the connection for formulas
    SqliteConnection m_pFormulaDb;        // null until it is needed
};

}  // namespace

std::unique_ptr<Store> CreateSqliteStore(const std::string& strPath) {
    return std::make_unique<SqliteStore>(strPath, true);
}
std::unique_ptr<Store> OpenSqliteStore(const std::string& strPath) {
    return std::make_unique<SqliteStore>(strPath, false);
}

}  // namespace qrx::server
