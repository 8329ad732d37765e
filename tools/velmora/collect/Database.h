#pragma once

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::collect {

/// An SQLite file. Throws SinkTrouble, whose text names the file.
class Database {
public:
    enum class Mode { readWrite, readOnly };
    Database(const std::string &path, Mode mode);

    void run(const char *sql);
    /// Throws when the file is no longer where it was opened.
    void requireInPlace() const;
    sqlite3 *handle() const { return handle_.get(); }
    const std::string &path() const { return path_; }
    [[noreturn]] void fail() const;

private:
    struct Close {
        void operator()(sqlite3 *handle) const { sqlite3_close_v2(handle); }
    };
    std::string path_;
    std::unique_ptr<sqlite3, Close> handle_;
};

/// A prepared statement of a database, which outlives it. Texts and blobs that are bound live until
/// the statement has run.
class Statement {
public:
    Statement(Database &database, std::string_view sql);

    Statement &bind(int place, std::int64_t number);
    Statement &bind(int place, std::string_view text);
    Statement &bindBlob(int place, std::string_view bytes);
    Statement &bindNull(int place);
    /// True while there is a row; then its columns can be read.
    bool step();
    /// Runs a statement that gives no rows, and readies it for the next time.
    void run();
    void reset() { sqlite3_reset(handle_.get()); }

    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    std::string_view bytes(int column) const;
    bool isNull(int column) const;
    bool isBlob(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt *handle) const { sqlite3_finalize(handle); }
    };
    Database &database_;
    std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

} // namespace velmora::collect
