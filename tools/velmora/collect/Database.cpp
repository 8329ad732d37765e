#include "collect/Database.h"

#include "collect/Sink.h"

#include <filesystem>

namespace velmora::collect {
namespace {

/// For a reader that holds the file while it is closed or its log is moved.
constexpr int patienceInMilliseconds = 5000;

} // namespace

Database::Database(const std::string &path, Mode mode)
    // ":memory:" and "file:" mean something else to SQLite.
    : path_(std::filesystem::absolute(path)) {
    sqlite3 *handle = nullptr;
    const int flags =
        mode == Mode::readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int status =
        sqlite3_open_v2(path_.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(handle);
    if (status != SQLITE_OK)
        fail();
    sqlite3_busy_timeout(handle, patienceInMilliseconds);
}

void Database::run(const char *sql) {
    if (sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail();
}

void Database::requireInPlace() const {
    int isMoved = 0;
    if (sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &isMoved) ==
            SQLITE_OK &&
        isMoved != 0)
        throw SinkTrouble("the database \"" + path_ +
                          "\" was removed, moved or replaced; put it back, or start the collector "
                          "again for a new one");
}

void Database::fail() const {
    throw SinkTrouble("the database \"" + path_ +
                      "\" cannot be used: " + sqlite3_errmsg(handle_.get()));
}

Statement::Statement(Database &database, std::string_view sql) : database_(database) {
    sqlite3_stmt *handle = nullptr;
    if (sqlite3_prepare_v3(database.handle(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &handle, nullptr) != SQLITE_OK)
        database.fail();
    handle_.reset(handle);
}

Statement &Statement::bind(int place, std::int64_t number) {
    sqlite3_bind_int64(handle_.get(), place, number);
    return *this;
}

Statement &Statement::bind(int place, std::string_view text) {
    sqlite3_bind_text(handle_.get(), place, text.data(), static_cast<int>(text.size()),
                      SQLITE_STATIC);
    return *this;
}

Statement &Statement::bindBlob(int place, std::string_view bytes) {
    sqlite3_bind_blob(handle_.get(), place, bytes.data(), static_cast<int>(bytes.size()),
                      SQLITE_STATIC);
    return *this;
}

Statement &Statement::bindNull(int place) {
    sqlite3_bind_null(handle_.get(), place);
    return *this;
}

bool Statement::step() {
    const int status = sqlite3_step(handle_.get());
    if (status == SQLITE_ROW)
        return true;
    if (status != SQLITE_DONE) {
        reset();
        database_.fail();
    }
    return false;
}

void Statement::run() {
    step();
    reset();
}

std::string_view Statement::bytes(int column) const {
    const void *bytes = sqlite3_column_blob(handle_.get(), column);
    const int count = sqlite3_column_bytes(handle_.get(), column);
    return {static_cast<const char *>(bytes), static_cast<std::size_t>(count)};
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL;
}

bool Statement::isBlob(int column) const {
    return sqlite3_column_type(handle_.get(), column) == SQLITE_BLOB;
}

} // namespace velmora::collect
