#include "platform/linux/preferences/SQLiteConnection.h"

#include "platform/Format.h"
#include "platform/Hexadecimal.h"

#include <sqlite3.h>

#include <cerrno>
#include <thread>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A file that makes a statement work longer than this was made to do so.
constexpr std::chrono::seconds longestWork{5};
constexpr int stepsBetweenLooks = 1'000'000;

std::string immutableName(const std::string &path) {
    std::string name = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            name += '%';
            appendHexadecimal(name, {&c, 1});
        } else {
            name += c;
        }
    }
    return name + "?immutable=1";
}

} // namespace

void SQLiteCloser::operator()(sqlite3 *database) const noexcept {
    sqlite3_close_v2(database);
}

void SQLiteCloser::operator()(sqlite3_stmt *statement) const noexcept {
    sqlite3_finalize(statement);
}

StatementUse::~StatementUse() {
    if (!statement_)
        return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

int SQLiteConnection::onLocked(void *limits, int) {
    static_cast<Limits *>(limits)->waited = true;
    if (steady_clock::now() >= static_cast<Limits *>(limits)->locks)
        return 0;
    std::this_thread::sleep_for(milliseconds(1));
    return 1;
}

int SQLiteConnection::onProgress(void *limits) {
    Moment &end = static_cast<Limits *>(limits)->work;
    const Moment now = steady_clock::now();
    if (end == Moment())
        end = now + longestWork;
    return now > end;
}

int SQLiteConnection::open(const std::string &path, Access access) {
    close();
    int mode = access == Access::readWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    std::string name = path;
    if (access == Access::immutable) {
        mode |= SQLITE_OPEN_URI;
        name = immutableName(path);
    }
    sqlite3 *database = nullptr;
    const int code = sqlite3_open_v2(
        name.c_str(), &database,
        mode | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE, nullptr);
    database_.reset(database);
    if (code != SQLITE_OK)
        return code;
    sqlite3_busy_handler(database, onLocked, &limits_);
    sqlite3_progress_handler(database, stepsBetweenLooks, onProgress, &limits_);
    // What stands in the file is data: it gets nothing to execute.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    return SQLITE_OK;
}

void SQLiteConnection::close() {
    database_.reset();
}

int SQLiteConnection::execute(const char *sql) {
    limits_.work = Moment();
    return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
}

int SQLiteConnection::prepare(const char *sql, SQLiteStatement &statement) {
    limits_.work = Moment();
    sqlite3_stmt *prepared = nullptr;
    const int code =
        sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    statement.reset(prepared);
    return code;
}

int SQLiteConnection::number(const char *sql, std::int64_t &result) {
    SQLiteStatement statement;
    if (const int code = prepare(sql, statement); code != SQLITE_OK)
        return code;
    const int code = sqlite3_step(statement.get());
    if (code == SQLITE_ROW)
        result = sqlite3_column_int64(statement.get(), 0);
    return code == SQLITE_ROW || code == SQLITE_DONE ? SQLITE_OK : code;
}

PreferencesTrouble SQLiteConnection::trouble(int code) const {
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE)
        return {};
    const std::string reason = database_ ? sqlite3_errmsg(get()) : sqlite3_errstr(code);
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return {Kind::locked,
                formatText("is held by another process (%@); end that process", reason)};
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
        return {Kind::damaged, formatText("is damaged (%@)", reason)};
    case SQLITE_FULL:
        return {Kind::failed, formatText("cannot grow (%@); free some space on its disk", reason)};
    case SQLITE_PERM:
    case SQLITE_READONLY:
        return {Kind::failed, formatText("cannot be written (%@); check its rights", reason)};
    case SQLITE_ERROR:
    case SQLITE_AUTH:
    case SQLITE_MISMATCH:
        return {Kind::refused,
                formatText(
                    "is not laid out as a preferences file (%@); move it away or name another path",
                    reason)};
    case SQLITE_CANTOPEN:
        if (const int error = database_ ? sqlite3_system_errno(get()) : 0;
            error == EMFILE || error == ENFILE)
            return {Kind::failed,
                    "cannot be opened (too many open files); raise the limit of open files"};
        [[fallthrough]];
    default:
        return {Kind::failed,
                formatText("cannot be used (%@); check its disk and its rights", reason)};
    }
}

} // namespace vmr
