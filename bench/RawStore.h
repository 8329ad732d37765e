#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

/// The raw limit of the store: one SQLite transaction of an event's new row and its two keys, and
/// the reading of all, with the same tables and file settings as the product's store, without
/// anything around it.
class RawStore {
public:
    explicit RawStore(const std::string &path);
    ~RawStore();
    RawStore(const RawStore &) = delete;
    RawStore &operator=(const RawStore &) = delete;

    void commit(std::string_view consentString);
    /// Reads every row and key, as a start has to; gives how many there are.
    int read();
    /// Moves the log into the file, so that the next commit writes over it instead of growing it.
    void checkpoint();

private:
    sqlite3_stmt *prepare(const char *sql);
    void step(sqlite3_stmt *statement);

    sqlite3 *database_ = nullptr;
    sqlite3_stmt *begin_ = nullptr;
    sqlite3_stmt *insert_ = nullptr;
    sqlite3_stmt *upsert_ = nullptr;
    sqlite3_stmt *commit_ = nullptr;
    std::int64_t number_ = 1'700'000'000'000'000;
};

} // namespace bench
