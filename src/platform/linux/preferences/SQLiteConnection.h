#pragma once

#include "platform/linux/preferences/PreferencesTrouble.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace vmr {

struct SQLiteCloser {
    void operator()(sqlite3 *database) const noexcept;
    void operator()(sqlite3_stmt *statement) const noexcept;
};
using SQLiteStatement = std::unique_ptr<sqlite3_stmt, SQLiteCloser>;

/// Resets a kept statement, and lets go of what was bound, at the end of a scope.
class StatementUse {
public:
    explicit StatementUse(const SQLiteStatement &statement) : statement_(statement.get()) {}
    ~StatementUse();
    StatementUse(const StatementUse &) = delete;
    StatementUse &operator=(const StatementUse &) = delete;
    sqlite3_stmt *get() const noexcept { return statement_; }

private:
    sqlite3_stmt *statement_;
};

/// One SQLite connection whose every statement is bounded in time. Not safe from several threads
/// at once: its owner sees to that. Results are SQLite's codes.
class SQLiteConnection {
public:
    using Moment = std::chrono::steady_clock::time_point;
    /// `immutable`: nobody writes meanwhile, and nothing is made beside the file.
    enum class Access { readWrite, readOnly, immutable };

    SQLiteConnection() = default;
    SQLiteConnection(const SQLiteConnection &) = delete;
    SQLiteConnection &operator=(const SQLiteConnection &) = delete;

    /// Opens a file that exists, following no symbolic link.
    int open(const std::string &path, Access access);
    bool isOpen() const noexcept { return database_ != nullptr; }
    void close();
    sqlite3 *get() const noexcept { return database_.get(); }

    /// How long the statements from here on wait for other processes' locks.
    void waitForLocksUntil(Moment deadline) noexcept { limits_ = {deadline, Moment(), false}; }
    /// Whether one of them has waited since.
    bool hasWaitedForLocks() const noexcept { return limits_.waited; }
    int execute(const char *sql);
    int prepare(const char *sql, SQLiteStatement &statement);
    /// The first column of the first row as a number; `result` stays as it is without a row.
    int number(const char *sql, std::int64_t &result);
    /// What a failed call means for the file.
    PreferencesTrouble trouble(int code) const;

private:
    struct Limits {
        Moment locks{};
        Moment work{};
        bool waited = false;
    };
    static int onLocked(void *limits, int tries);
    static int onProgress(void *limits);

    Limits limits_;
    std::unique_ptr<sqlite3, SQLiteCloser> database_;
};

} // namespace vmr
