#pragma once

#include "platform/linux/preferences/PreferencesTrouble.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vmr {

struct SQLiteCloser {
    void operator()(sqlite3 *database) const noexcept;
    void operator()(sqlite3_stmt *statement) const noexcept;
};

/// One SQLite connection whose every statement is bounded in time. Not safe from several threads
/// at once: its owner sees to that. What fails throws a PreferencesTrouble.
class SQLiteConnection {
public:
    using Moment = std::chrono::steady_clock::time_point;
    /// `immutable`: nobody writes meanwhile, and nothing is made beside the file.
    enum class Access { readWrite, readOnly, immutable };

    SQLiteConnection() = default;
    SQLiteConnection(const SQLiteConnection &) = delete;
    SQLiteConnection &operator=(const SQLiteConnection &) = delete;

    /// Opens a file that exists, following no symbolic link.
    void open(const std::string &path, Access access);
    /// Throws where that is no database, before a statement takes what stands beside it for a
    /// journal and removes it.
    void requireDatabase() const;
    bool isOpen() const noexcept { return database_ != nullptr; }
    /// Throws where this process brings an SQLite library that cannot do what is asked of it.
    static void checkLibrary();
    void close();
    sqlite3 *get() const noexcept { return database_.get(); }

    /// How long the statements from here on wait for other processes' locks.
    void waitForLocksUntil(Moment deadline) noexcept;
    /// Whether one of them has waited since.
    bool hasWaitedForLocks() const noexcept { return limits_.waited; }
    void execute(const char *sql);
    /// The statement, which is kept for the next time.
    sqlite3_stmt *prepare(const char *sql);
    /// The first column of the first row as a number, else 0.
    std::int64_t number(const char *sql);
    /// Whether the file is written by way of a log.
    bool hasLog();
    /// Throws what SQLite's code means for the file, unless it means success.
    void check(int code) const;
    /// What a code that means no success means for the file.
    PreferencesTrouble troubleOf(int code) const;

private:
    struct Limits {
        Moment locks{};
        Moment work{};
        bool waited = false;
    };
    static int onLocked(void *limits, int tries);
    static int onProgress(void *limits);
    bool couldNotRead() const;
    bool isOtherFile() const;

    Limits limits_;
    std::unique_ptr<sqlite3, SQLiteCloser> database_;
    std::vector<std::unique_ptr<sqlite3_stmt, SQLiteCloser>> kept_;
};

/// One use of a statement.
class StatementUse {
public:
    StatementUse(SQLiteConnection &connection, const char *sql)
        : connection_(connection), statement_(connection.prepare(sql)) {}
    ~StatementUse();
    StatementUse(const StatementUse &) = delete;
    StatementUse &operator=(const StatementUse &) = delete;
    sqlite3_stmt *get() const noexcept { return statement_; }
    StatementUse &bind(int index, std::int64_t number);
    /// What is not a number is stored as NULL.
    StatementUse &bind(int index, double number);
    StatementUse &bind(int index, std::string_view text);
    /// What must outlive the use.
    StatementUse &bindBytes(int index, std::string_view bytes);
    /// Whether there is another row.
    bool step();

private:
    SQLiteConnection &connection_;
    sqlite3_stmt *const statement_;
};

/// The one that is under way already, or a new one. What is not committed at the end is undone.
class SQLiteTransaction {
public:
    explicit SQLiteTransaction(SQLiteConnection &connection, const char *begin = "BEGIN IMMEDIATE");
    ~SQLiteTransaction();
    SQLiteTransaction(const SQLiteTransaction &) = delete;
    SQLiteTransaction &operator=(const SQLiteTransaction &) = delete;
    void commit();

private:
    SQLiteConnection &connection_;
};

} // namespace vmr
