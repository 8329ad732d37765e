#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

struct sqlite3;
struct sqlite3_file;
struct sqlite3_io_methods;

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

    /// As SQLite asks for it. SQLite's code.
    int read(const sqlite3_io_methods &system, sqlite3_file *file, void *bytes, int count,
             std::int64_t at) noexcept;

private:
    void fill(const sqlite3_io_methods &system, sqlite3_file *file, std::int64_t at) noexcept;

    sqlite3_file *file_ = nullptr;
    std::unique_ptr<char[]> bytes_;
    std::int64_t length_ = 0; ///< of the file
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
    std::int64_t next_ = 0;
};

} // namespace vmr
