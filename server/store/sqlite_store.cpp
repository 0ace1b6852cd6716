// The embedded store: one SQLite file, one connection, one mutex. The file keeps a write-ahead log,
// so that a running server reads while an import writes. A Batch holds the mutex until it ends.
#include <sys/stat.h>

#include <ctime>
#include <mutex>

#include "store/sqlite.h"
#include "store/store.h"

namespace qrx::server {
namespace {

constexpr int kApplicationId = 0x51525853;  // marks the file as a store
constexpr int kVersion = 1;                 // of the tables below

constexpr const char* kTables = R"sql(
CREATE TABLE user (name TEXT PRIMARY KEY, hash TEXT NOT NULL);
CREATE TABLE user_market (
    user TEXT NOT NULL REFERENCES user(name) ON DELETE CASCADE, seq INTEGER NOT NULL,
    market TEXT NOT NULL, PRIMARY KEY (user, seq));
CREATE TABLE market (name TEXT PRIMARY KEY COLLATE NOCASE, changed INTEGER NOT NULL);
CREATE TABLE code (
    seq INTEGER PRIMARY KEY, market TEXT NOT NULL COLLATE NOCASE,
    code TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL, type INTEGER NOT NULL,
    UNIQUE (market, code));
CREATE TABLE chunk (
    id INTEGER PRIMARY KEY AUTOINCREMENT, market TEXT NOT NULL COLLATE NOCASE,
    code TEXT NOT NULL COLLATE NOCASE, kind INTEGER NOT NULL, day INTEGER NOT NULL,
    seq INTEGER NOT NULL, date INTEGER NOT NULL, items INTEGER NOT NULL, stream BLOB NOT NULL,
    UNIQUE (market, code, kind, day, seq));
CREATE TABLE day_reference (
    market TEXT NOT NULL COLLATE NOCASE, code TEXT NOT NULL COLLATE NOCASE, day INTEGER NOT NULL,
    settle INTEGER NOT NULL, close INTEGER NOT NULL, interest INTEGER NOT NULL,
    PRIMARY KEY (market, code, day));
CREATE TABLE adjust (
    market TEXT NOT NULL COLLATE NOCASE, code TEXT NOT NULL COLLATE NOCASE, date INTEGER NOT NULL,
    factor REAL NOT NULL, PRIMARY KEY (market, code, date));
)sql";

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
        sqlite3* p = nullptr;
        const int nFlags = SQLITE_OPEN_READWRITE | (bCreate ? SQLITE_OPEN_CREATE : 0);
        const int nResult = sqlite3_open_v2(strPath.c_str(), &p, nFlags, nullptr);
        m_pDb.reset(p);
        CheckSqlite(p, nResult);
        sqlite3_busy_timeout(p, 30000);
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
        Execute("PRAGMA synchronous = NORMAL");
        Execute("PRAGMA foreign_keys = ON");
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
    sqlite3* Db() { return m_pDb.get(); }
    void Execute(const std::string& strSql) {
        CheckSqlite(Db(), sqlite3_exec(Db(), strSql.c_str(), nullptr, nullptr, nullptr));
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
};

}  // namespace

std::unique_ptr<Store> CreateSqliteStore(const std::string& strPath) {
    return std::make_unique<SqliteStore>(strPath, true);
}
std::unique_ptr<Store> OpenSqliteStore(const std::string& strPath) {
    return std::make_unique<SqliteStore>(strPath, false);
}

}  // namespace qrx::server
