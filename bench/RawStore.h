#pragma once

#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

/// The raw limit of storing a blob: a bare SQLite upsert with the same file settings as the
/// product's store, without anything around it.
class RawStore {
public:
    explicit RawStore(const std::string &path);
    ~RawStore();
    RawStore(const RawStore &) = delete;
    RawStore &operator=(const RawStore &) = delete;

    void commit(std::string_view key, std::string_view blob);
    /// Moves the log into the file, so that the next commit writes over it instead of growing it.
    void checkpoint();

private:
    sqlite3 *database_ = nullptr;
    sqlite3_stmt *upsert_ = nullptr;
};

} // namespace bench
