#include "platform/linux/preferences/SQLiteConnection.h"

#include "platform/Format.h"
#include "platform/Hexadecimal.h"
#include "platform/linux/preferences/PreferencesColumn.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/SQLiteFiles.h"

#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A file that makes a statement work longer than this was made to do so.
constexpr std::chrono::seconds longestWork{5};
constexpr int stepsBetweenLooks = 1'000'000;
// Above what a value of 16 MiB takes, however it is written.
constexpr int longestRow = 64 * 1024 * 1024;
constexpr int oldestLibrary = 3'037'000;
constexpr int newPage = 4096; // all that a new file is before its first sync

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

void SQLiteConnection::checkLibrary() {
    const char *const lack = sqlite3_threadsafe() == 0                     ? "THREADSAFE=0"
                             : sqlite3_compileoption_used("OMIT_WAL") != 0 ? "OMIT_WAL"
                             : sqlite3_libversion_number() < oldestLibrary ? "an older version"
                                                                           : nullptr;
    if (lack != nullptr)
        fail(Kind::refused,
             "cannot be used, because the SQLite that this process brings (%@, %@) is not fit for "
             "it; hide that one's symbols or build it otherwise",
             {sqlite3_libversion(), lack});
}

void SQLiteConnection::waitForLocksUntil(Moment deadline) noexcept {
    limits_ = {deadline, Moment(), false};
    SQLiteFiles::waitUntil(deadline);
}

void SQLiteConnection::open(const std::string &path, Access access) {
    close();
    checkLibrary();
    int mode = access == Access::readWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    std::string name = path;
    if (access == Access::immutable) {
        mode |= SQLITE_OPEN_URI;
        name = immutableName(path);
    }
    sqlite3 *database = nullptr;
    const int code =
        sqlite3_open_v2(name.c_str(), &database,
                        mode | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE,
                        SQLiteFiles::name());
    database_.reset(database);
    check(code);
    sqlite3_busy_handler(database, onLocked, &limits_);
    sqlite3_progress_handler(database, stepsBetweenLooks, onProgress, &limits_);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, longestRow);
    // What stands in the file is data: it gets nothing to execute.
    for (const auto &[setting, value] :
         {std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1}, std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
          std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
          std::pair{SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1}})
        sqlite3_db_config(database, setting, value, nullptr);
}

void SQLiteConnection::requireDatabase() const {
    if (isOtherFile())
        throw otherFile();
}

void SQLiteConnection::close() {
    kept_.clear();
    database_.reset();
}

void SQLiteConnection::execute(const char *sql) {
    limits_.work = Moment();
    check(sqlite3_exec(get(), sql, nullptr, nullptr, nullptr));
}

sqlite3_stmt *SQLiteConnection::prepare(const char *sql) {
    limits_.work = Moment();
    for (const auto &statement : kept_) {
        if (std::strcmp(sqlite3_sql(statement.get()), sql) == 0)
            return statement.get();
    }
    sqlite3_stmt *prepared = nullptr;
    check(sqlite3_prepare_v3(get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
    kept_.emplace_back(prepared);
    return prepared;
}

std::int64_t SQLiteConnection::number(const char *sql) {
    StatementUse select(*this, sql);
    return select.step() ? sqlite3_column_int64(select.get(), 0) : 0;
}

bool SQLiteConnection::hasLog() {
    StatementUse mode(*this, "PRAGMA journal_mode");
    return mode.step() && textOfColumn(mode.get(), 0) == "wal";
}

StatementUse::~StatementUse() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

StatementUse &StatementUse::bind(int index, std::int64_t number) {
    connection_.check(sqlite3_bind_int64(statement_, index, number));
    return *this;
}

StatementUse &StatementUse::bind(int index, double number) {
    connection_.check(sqlite3_bind_double(statement_, index, number));
    return *this;
}

StatementUse &StatementUse::bind(int index, std::string_view text) {
    connection_.check(sqlite3_bind_text64(statement_, index, text.data(), text.size(),
                                          SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

StatementUse &StatementUse::bindBytes(int index, std::string_view bytes) {
    // A null pointer would make NULL of no bytes.
    connection_.check(sqlite3_bind_blob64(statement_, index, bytes.empty() ? "" : bytes.data(),
                                          bytes.size(), SQLITE_STATIC));
    return *this;
}

bool StatementUse::step() {
    const int code = sqlite3_step(statement_);
    connection_.check(code);
    return code == SQLITE_ROW;
}

SQLiteTransaction::SQLiteTransaction(SQLiteConnection &connection, const char *begin)
    : connection_(connection) {
    if (sqlite3_get_autocommit(connection_.get()))
        StatementUse(connection_, begin).step();
}

SQLiteTransaction::~SQLiteTransaction() {
    if (!sqlite3_get_autocommit(connection_.get()))
        sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SQLiteTransaction::commit() {
    StatementUse(connection_, "COMMIT").step();
}

/// A page that the disk did not give counts as damaged with SQLite.
bool SQLiteConnection::couldNotRead() const {
    for (const int which : {SQLITE_FCNTL_FILE_POINTER, SQLITE_FCNTL_JOURNAL_POINTER}) {
        sqlite3_file *file = nullptr;
        int error = 0;
        if (sqlite3_file_control(get(), "main", which, &file) == SQLITE_OK && file != nullptr &&
            file->pMethods != nullptr)
            file->pMethods->xFileControl(file, SQLITE_FCNTL_LAST_ERRNO, &error);
        if (error == EIO || error == ENXIO || error == ERANGE)
            return true;
    }
    return false;
}

/// Neither begins as SQLite's do nor has a log beside it.
bool SQLiteConnection::isOtherFile() const {
    static constexpr char first[] = "SQLite format 3"; // with its end
    constexpr std::string_view magic(first, sizeof first);
    std::array<char, newPage> bytes{};
    const std::string_view start(bytes.data(), bytes.size());
    sqlite3_file *file = nullptr;
    sqlite3_int64 length = 0;
    if (sqlite3_file_control(get(), "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK)
        return false;
    const int code = file->pMethods->xRead(file, bytes.data(), newPage, 0);
    if ((code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) ||
        file->pMethods->xFileSize(file, &length) != SQLITE_OK)
        return false;
    // What a power cut leaves of a new file when the disk has its length before its first sector.
    if (length <= newPage && start.find_first_not_of('\0') == std::string_view::npos)
        return false;
    return !start.starts_with(magic) &&
           lengthOf(std::string(sqlite3_db_filename(get(), "main")) + "-wal").value_or(0) == 0;
}

void SQLiteConnection::check(int code) const {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE)
        throw troubleOf(code);
}

PreferencesTrouble SQLiteConnection::troubleOf(int code) const {
    const auto say = [&](Kind kind, std::string_view text) {
        const char *const reason = database_ ? sqlite3_errmsg(get()) : sqlite3_errstr(code);
        return PreferencesTrouble{kind, formatText(text, reason)};
    };
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: {
        PreferencesTrouble held =
            say(Kind::locked, "is held by another process (%@); end that process");
        // After a lock that could not be given back SQLite waits for itself.
        held.isOfConnection = (code & 0xff) == SQLITE_PROTOCOL;
        return held;
    }
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
        if (couldNotRead())
            return say(Kind::failed, "cannot be read (%@); check its disk");
        if ((code & 0xff) == SQLITE_NOTADB && isOtherFile())
            return otherFile();
        [[fallthrough]];
    case SQLITE_TOOBIG: // the rows beside it are carried over
        return say(Kind::damaged, "is damaged (%@)");
    case SQLITE_FULL:
        return say(Kind::failed, "cannot grow (%@); free some space on its disk");
    case SQLITE_PERM:
    case SQLITE_READONLY:
        return say(Kind::failed, "cannot be written (%@); check its rights");
    case SQLITE_ERROR:
    case SQLITE_AUTH:
    case SQLITE_MISMATCH:
        return say(Kind::refused,
                   "is not laid out as a preferences file (%@); move it away or name another path");
    case SQLITE_CANTOPEN:
        if (const int error = database_ ? sqlite3_system_errno(get()) : 0;
            error == EMFILE || error == ENFILE)
            return say(Kind::failed,
                       "cannot be opened (too many open files); raise the limit of open files");
        [[fallthrough]];
    default:
        return say(Kind::failed, "cannot be used (%@); check its disk and its rights");
    }
}

} // namespace vmr
