// The tables of the embedded store.
#ifndef QRX_SERVER_STORE_SQLITE_TABLES_H
#define QRX_SERVER_STORE_SQLITE_TABLES_H

namespace qrx::server {

inline constexpr const char* kTables = R"sql(
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

// Made when it is first needed: stores of before formulas lack it.
inline constexpr const char* kFormulaTable = R"sql(
CREATE TABLE IF NOT EXISTS formula (
    user TEXT NOT NULL REFERENCES user(name) ON DELETE CASCADE, name BLOB NOT NULL,
    text BLOB NOT NULL, PRIMARY KEY (user, name));
)sql";

}  // namespace qrx::server

#endif
