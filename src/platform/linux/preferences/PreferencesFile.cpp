#include "platform/linux/preferences/PreferencesFile.h"

#include "platform/Text.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesInspection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <utility>

namespace vmr {

PreferencesTrouble PreferencesFile::open(const std::string &path, Moment deadline) {
    close();
    if (PreferencesTrouble trouble = checkPreferencesFile(path))
        return trouble;
    if (PreferencesTrouble trouble = createPreferencesFile(path))
        return trouble;
    const std::string resolved = resolvedFolder(path);
    if (PreferencesTrouble trouble = checkPreferencesLength(resolved))
        return trouble;
    path_ = resolved;
    logPath_ = resolved + "-wal";
    identity_ = identityOf(path_);
    connection_.waitForLocksUntil(deadline);
    PreferencesTrouble trouble = openConnection(resolved);
    if (trouble) {
        close();
        return trouble;
    }
    logIdentity_ = identityOf(logPath_);
    indexIdentity_ = identityOf(path_ + "-shm");
    takesOwnership();
    return {};
}

PreferencesTrouble PreferencesFile::openConnection(const std::string &path) {
    if (const int code = connection_.open(path, SQLiteConnection::Access::readWrite))
        return connection_.trouble(code);
    sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (PreferencesTrouble trouble = layOut())
        return trouble;
    return prepareStatements();
}

PreferencesTrouble PreferencesFile::layOut() {
    std::int64_t version = 0;
    bool isNew = false;
    if (PreferencesTrouble trouble = readPreferencesLayout(connection_, version, isNew))
        return trouble;
    // A sync belongs to the background; a new file gets its first one there.
    if (const int code = connection_.execute("PRAGMA synchronous=OFF;"
                                             "PRAGMA secure_delete=FAST;"
                                             "PRAGMA journal_mode=WAL;"))
        return connection_.trouble(code);
    if (version < preferencesFormatVersion || isNew) {
        for (const char *sql : {"BEGIN IMMEDIATE;"
                                "CREATE TABLE IF NOT EXISTS preferences("
                                "key TEXT PRIMARY KEY NOT NULL,"
                                "type TEXT NOT NULL,"
                                "value)",
                                setPreferencesFormat, "COMMIT"}) {
            if (const int code = connection_.execute(sql))
                return connection_.trouble(code);
        }
    }
    if (const int code = connection_.execute("PRAGMA synchronous=NORMAL"))
        return connection_.trouble(code);
    log_.follow(logPath_, isNew);
    return {};
}

PreferencesTrouble PreferencesFile::prepareStatements() {
    for (const auto &[sql, statement] :
         {std::pair{"INSERT INTO preferences(key,type,value) VALUES(?1,?2,?3) "
                    "ON CONFLICT(key) DO UPDATE SET type=excluded.type,value=excluded.value",
                    &upsert_},
          std::pair{"DELETE FROM preferences WHERE key=?1", &remove_},
          std::pair{"BEGIN IMMEDIATE", &begin_}, std::pair{"COMMIT", &commit_},
          std::pair{"PRAGMA data_version", &dataVersion_}}) {
        if (const int code = connection_.prepare(sql, *statement))
            return connection_.trouble(code);
    }
    return {};
}

void PreferencesFile::close() {
    for (SQLiteStatement *statement : {&upsert_, &remove_, &begin_, &commit_, &dataVersion_})
        statement->reset();
    if (isOpen() && ownership_.isTaken() && place() == Place::kept)
        sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    connection_.close();
    ownership_.giveUp();
    rows_.clear();
}

bool PreferencesFile::takesOwnership() {
    return !isTool_ && ownership_.take(path_);
}

PreferencesFile::Place PreferencesFile::place() const {
    if (identityOf(path_) != identity_)
        return Place::lost;
    return identityOf(logPath_) == logIdentity_ ? Place::kept : Place::logLost;
}

void PreferencesFile::leave() {
    if (place() == Place::logLost && takesOwnership())
        log_.move();
    close();
    if (logIdentity_ && identityOf(logPath_) == logIdentity_)
        ::unlink(logPath_.c_str());
    if (indexIdentity_ && identityOf(path_ + "-shm") == indexIdentity_)
        ::unlink((path_ + "-shm").c_str());
}

std::vector<PreferencesChange> PreferencesFile::knownRows() const {
    std::vector<PreferencesChange> result;
    for (const auto &[key, column] : rows_)
        result.push_back({key, column});
    return result;
}

int PreferencesFile::step(const SQLiteStatement &statement) {
    const StatementUse use(statement);
    return sqlite3_step(use.get());
}

std::int64_t PreferencesFile::dataVersion() {
    const StatementUse use(dataVersion_);
    return sqlite3_step(use.get()) == SQLITE_ROW ? sqlite3_column_int64(use.get(), 0) : 0;
}

PreferencesTrouble PreferencesFile::load(std::vector<PreferencesChange> &changes,
                                         std::vector<std::string> &unreadable) {
    SQLiteStatement select;
    int code = connection_.execute("BEGIN");
    if (code == SQLITE_OK)
        code = connection_.prepare("SELECT key,type,value FROM preferences", select);
    std::set<std::string, std::less<>> seen;
    const std::int64_t version = code == SQLITE_OK ? dataVersion() : 0;
    if (code == SQLITE_OK) {
        while ((code = sqlite3_step(select.get())) == SQLITE_ROW)
            readRow(select.get(), seen, changes, unreadable);
    }
    PreferencesTrouble trouble = connection_.trouble(code);
    select.reset();
    connection_.execute("ROLLBACK");
    if (trouble)
        return trouble;
    for (const auto &[key, column] : rows_) {
        if (!seen.contains(key))
            changes.push_back({key, std::nullopt});
    }
    for (const PreferencesChange &change : changes) {
        rows_.erase(change.key);
        if (change.column)
            rows_.emplace(change.key, *change.column);
    }
    loadedVersion_ = version;
    return {};
}

void PreferencesFile::readRow(sqlite3_stmt *row, std::set<std::string, std::less<>> &seen,
                              std::vector<PreferencesChange> &changes,
                              std::vector<std::string> &unreadable) {
    auto [key, goodKey] = PreferencesKey::read(row);
    const auto known = rows_.find(key);
    if (goodKey && known != rows_.end() && known->second.isStoredIn(row, 1, 2)) {
        seen.insert(std::move(key));
        return;
    }
    std::optional<PreferencesColumn> column = PreferencesColumn::read(row, 1, 2);
    if (!goodKey || !column) {
        if (unreadable_.insert(key).second)
            unreadable.push_back(std::move(key));
        return;
    }
    unreadable_.erase(key);
    seen.insert(key);
    changes.push_back({std::move(key), std::move(column)});
}

bool PreferencesFile::differsFromFile(const PreferencesChange &change) {
    const auto known = rows_.find(change.key);
    if (known == rows_.end())
        return change.column.has_value() || unreadable_.contains(change.key);
    return !change.column || !(known->second == *change.column);
}

int PreferencesFile::writeOne(const PreferencesChange &change) {
    const StatementUse use(change.column ? upsert_ : remove_);
    int code = sqlite3_bind_text64(use.get(), 1, change.key.data(), change.key.size(),
                                   SQLITE_STATIC, SQLITE_UTF8);
    if (code == SQLITE_OK && change.column)
        code = change.column->bind(use.get(), 2, 3);
    return code == SQLITE_OK ? sqlite3_step(use.get()) : code;
}

int PreferencesFile::writeAll(const std::vector<const PreferencesChange *> &changes) {
    if (changes.size() == 1)
        return writeOne(*changes.front());
    int code = step(begin_);
    for (const PreferencesChange *change : changes) {
        if (code != SQLITE_DONE)
            return code;
        code = writeOne(*change);
    }
    return code == SQLITE_DONE ? step(commit_) : code;
}

PreferencesTrouble PreferencesFile::write(const std::vector<PreferencesChange> &changes,
                                          bool &committed) {
    std::vector<const PreferencesChange *> different;
    for (const PreferencesChange &change : changes) {
        if (differsFromFile(change))
            different.push_back(&change);
    }
    if (different.size() < changes.size() && dataVersion() != loadedVersion_) {
        // Somebody else has written: what stood there when this process last looked may be gone.
        different.clear();
        for (const PreferencesChange &change : changes)
            different.push_back(&change);
    }
    committed = !different.empty();
    if (!committed)
        return {};
    const int code = writeAll(different);
    const PreferencesTrouble trouble = connection_.trouble(code);
    if (!sqlite3_get_autocommit(connection_.get()))
        connection_.execute("ROLLBACK");
    if (trouble)
        return trouble;
    for (const PreferencesChange *change : different) {
        unreadable_.erase(change->key);
        if (change->column)
            rows_.insert_or_assign(change->key, *change->column);
        else
            rows_.erase(change->key);
    }
    return {};
}

PreferencesFile::Foreign PreferencesFile::lookForForeignCommits() {
    // Whoever holds the write lock may have written to the log without having published it; when
    // nobody does, every commit so far is visible.
    if (!isOpen())
        return Foreign::none;
    connection_.waitForLocksUntil({});
    if (step(begin_) != SQLITE_DONE)
        return Foreign::underWay;
    const bool changed = dataVersion() != loadedVersion_;
    step(commit_);
    return changed ? Foreign::committed : Foreign::none;
}

bool PreferencesFile::wantsCheckpoint() const noexcept {
    return isOpen() && !isTool_ && log_.wantsMoving();
}

void PreferencesFile::checkpoint() {
    if (wantsCheckpoint() && takesOwnership() && place() == Place::kept)
        log_.move();
}

} // namespace vmr
