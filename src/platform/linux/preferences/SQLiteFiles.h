#pragma once

#include <chrono>

struct sqlite3;
struct sqlite3_file;

namespace vmr {

/// The system's files, as SQLite opens them for the preferences.
namespace SQLiteFiles {

/// Under which name SQLite knows them.
const char *name();
/// SQLite waits up to 10 s of its own accord where its index is held: in this thread not beyond
/// the deadline.
void waitUntil(std::chrono::steady_clock::time_point deadline) noexcept;

} // namespace SQLiteFiles

/// While this lives, what follows in a database is read with what is read one after the other.
/// Within one transaction, in which nobody changes what can be read of the file.
class SQLiteReadAhead {
public:
    explicit SQLiteReadAhead(sqlite3 *database);
    ~SQLiteReadAhead();
    SQLiteReadAhead(const SQLiteReadAhead &) = delete;
    SQLiteReadAhead &operator=(const SQLiteReadAhead &) = delete;

private:
    sqlite3_file *file_ = nullptr;
};

} // namespace vmr
