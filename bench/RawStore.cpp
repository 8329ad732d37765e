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

} // namespace

RawStore::RawStore(const std::string &path) {
    require(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, database_);
    for (const char *setting :
         {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=NORMAL", "PRAGMA wal_autocheckpoint=0",
          "CREATE TABLE preferences(key TEXT PRIMARY KEY, type TEXT NOT NULL, value)"})
        require(sqlite3_exec(database_, setting, nullptr, nullptr, nullptr) == SQLITE_OK,
                database_);
    require(sqlite3_prepare_v2(database_,
                               "INSERT INTO preferences VALUES(?1, 'data', ?2) ON CONFLICT(key) "
                               "DO UPDATE SET type = excluded.type, value = excluded.value",
                               -1, &upsert_, nullptr) == SQLITE_OK,
            database_);
}

RawStore::~RawStore() {
    sqlite3_finalize(upsert_);
    sqlite3_close(database_);
}

void RawStore::commit(std::string_view key, std::string_view blob) {
    sqlite3_bind_text(upsert_, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_blob64(upsert_, 2, blob.data(), blob.size(), SQLITE_STATIC);
    require(sqlite3_step(upsert_) == SQLITE_DONE, database_);
    sqlite3_reset(upsert_);
}

void RawStore::checkpoint() {
    require(sqlite3_wal_checkpoint_v2(database_, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                      nullptr) == SQLITE_OK,
            database_);
}

} // namespace bench
