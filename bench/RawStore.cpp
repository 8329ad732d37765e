#include "RawStore.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

namespace bench {
namespace {

void require(bool good, sqlite3 *database) {
    if (good)
        return;
    std::fprintf(stderr, "raw store: %s\n", sqlite3_errmsg(database));
    std::exit(1);
}

void bind(sqlite3_stmt *statement, int index, std::string_view text) {
    sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

} // namespace

RawStore::RawStore(const std::string &path) {
    require(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, database_);
    for (const char *setting :
         {"PRAGMA secure_delete=FAST", "PRAGMA journal_mode=WAL", "PRAGMA synchronous=NORMAL",
          "PRAGMA wal_autocheckpoint=0",
          "CREATE TABLE IF NOT EXISTS preferences(key TEXT PRIMARY KEY NOT NULL, type TEXT NOT "
          "NULL, value)",
          "CREATE TABLE IF NOT EXISTS records(number INTEGER PRIMARY KEY, list TEXT NOT NULL, "
          "class TEXT NOT NULL, date REAL, consentString TEXT, fields TEXT, "
          "checksum INTEGER)"})
        require(sqlite3_exec(database_, setting, nullptr, nullptr, nullptr) == SQLITE_OK,
                database_);
    begin_ = prepare("BEGIN IMMEDIATE");
    insert_ = prepare("INSERT INTO records VALUES(?1, 'VMRConsentEventsArray', 'VMRConsentEvent', "
                      "1700000000.123456, ?2, NULL, 1)");
    upsert_ = prepare("INSERT INTO preferences VALUES(?1, 'string', ?2) ON CONFLICT(key) "
                      "DO UPDATE SET type = excluded.type, value = excluded.value");
    commit_ = prepare("COMMIT");
}

RawStore::~RawStore() {
    for (sqlite3_stmt *statement : {begin_, insert_, upsert_, commit_})
        sqlite3_finalize(statement);
    sqlite3_close(database_);
}

sqlite3_stmt *RawStore::prepare(const char *sql) {
    sqlite3_stmt *statement = nullptr;
    require(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) == SQLITE_OK, database_);
    return statement;
}

void RawStore::step(sqlite3_stmt *statement) {
    require(sqlite3_step(statement) == SQLITE_DONE, database_);
    sqlite3_reset(statement);
}

void RawStore::commit(std::string_view consentString) {
    step(begin_);
    sqlite3_bind_int64(insert_, 1, ++number_);
    bind(insert_, 2, consentString);
    step(insert_);
    for (const char *key : {"IABTCF_TCString", "VMRLastTCFv2StringKey"}) {
        bind(upsert_, 1, key);
        bind(upsert_, 2, consentString);
        step(upsert_);
    }
    step(commit_);
}

int RawStore::read() {
    int rows = 0;
    for (const char *all : {"SELECT * FROM preferences", "SELECT * FROM records ORDER BY number"}) {
        sqlite3_stmt *statement = prepare(all);
        for (; sqlite3_step(statement) == SQLITE_ROW; ++rows) {
            for (int column = 0; column < sqlite3_column_count(statement); ++column)
                sqlite3_column_text(statement, column);
        }
        sqlite3_finalize(statement);
    }
    return rows;
}

void RawStore::checkpoint() {
    require(sqlite3_wal_checkpoint_v2(database_, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                      nullptr) == SQLITE_OK,
            database_);
}

} // namespace bench
