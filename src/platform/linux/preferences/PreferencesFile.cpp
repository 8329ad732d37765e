#include "platform/linux/preferences/PreferencesFile.h"

#include "platform/linux/preferences/PreferencesLayout.h"

#include <sqlite3.h>
#include <unistd.h>

#include <utility>

namespace vmr {
namespace {

int doneAsOK(int code) {
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

} // namespace

PreferencesTrouble PreferencesFile::open(const std::string &path, Moment deadline) {
    close();
    if (PreferencesTrouble trouble = inspectPreferencesFile(path, true))
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
    logIdentity_.reset();
    return {};
}

PreferencesTrouble PreferencesFile::openConnection(const std::string &path) {
    if (const int code = connection_.open(path, SQLiteConnection::Access::readWrite))
        return connection_.trouble(code);
    sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    bool isNew = false;
    if (PreferencesTrouble trouble = readPreferencesLayout(connection_, version_, isNew))
        return trouble;
    // A sync belongs to the background; a new file gets its first one there.
    int code = connection_.execute("PRAGMA synchronous=OFF;"
                                   "PRAGMA secure_delete=FAST;"
                                   "PRAGMA journal_mode=WAL;");
    // So that nobody takes the file for an empty one; what is in an older file becomes rows with
    // the first write.
    if (isNew && code == SQLITE_OK) {
        code = connection_.execute("BEGIN IMMEDIATE");
        if (code == SQLITE_OK)
            code = connection_.number("PRAGMA user_version", version_);
        if (code == SQLITE_OK && version_ < preferencesFormatVersion)
            code = layOut();
        if (code == SQLITE_OK)
            code = connection_.execute("COMMIT");
        version_ = preferencesFormatVersion;
    }
    if (code == SQLITE_OK)
        code = connection_.execute("PRAGMA synchronous=NORMAL");
    if (code == SQLITE_OK)
        code = prepareStatements();
    log_.follow(logPath_, isNew);
    return connection_.trouble(code);
}

int PreferencesFile::prepareStatements() {
    for (const auto &[sql, statement] :
         {std::pair{"INSERT INTO preferences(key,type,value) VALUES(?1,?2,?3) "
                    "ON CONFLICT(key) DO UPDATE SET type=excluded.type,value=excluded.value",
                    &upsert_},
          std::pair{"DELETE FROM preferences WHERE key=?1", &remove_},
          std::pair{"BEGIN IMMEDIATE", &begin_}, std::pair{"COMMIT", &commit_},
          std::pair{"PRAGMA data_version", &dataVersion_}}) {
        if (const int code = connection_.prepare(sql, *statement))
            return code;
    }
    return SQLITE_OK;
}

/// Within a transaction: makes the tables, and rows of the lists that a file of version 1 holds.
int PreferencesFile::layOut() {
    int code = layOutPreferences(connection_);
    for (const std::string &key : version1_.takenOver) {
        if (code == SQLITE_OK)
            code = doneAsOK(writeEntry({key, std::nullopt}));
    }
    for (const auto &[list, stored] : version1_.lists) {
        if (code == SQLITE_OK)
            code = doneAsOK(records_.write(list, &stored.records));
        if (code == SQLITE_OK)
            code = doneAsOK(writeEntry({list, version1_.entries.at(list)}));
    }
    return code;
}

int PreferencesFile::takeOverVersion1() {
    int code = doneAsOK(step(begin_));
    // What was read is what becomes rows: nobody may have changed it since.
    if (code == SQLITE_OK && dataVersion() != loadedVersion_)
        code = SQLITE_BUSY;
    if (code == SQLITE_OK)
        code = layOut();
    if (code == SQLITE_OK)
        code = doneAsOK(step(commit_));
    if (code != SQLITE_OK)
        return code;
    version_ = preferencesFormatVersion;
    version1_ = {};
    records_.committed();
    for (const std::string &list : apart_)
        records_.leave(list);
    return SQLITE_OK;
}

void PreferencesFile::close() {
    for (SQLiteStatement *statement : {&upsert_, &remove_, &begin_, &commit_, &dataVersion_})
        statement->reset();
    records_.close();
    version1_ = {};
    apart_.clear();
    if (isOpen() && !isTool_ && place() == Place::kept) {
        // The last one that closes a file moves its log.
        if (const PreferencesOwnership::Upkeep upkeep(ownership_); upkeep) {
            sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
            connection_.close();
        }
    }
    connection_.close();
}

PreferencesFile::Place PreferencesFile::place() const {
    if (identityOf(path_) != identity_)
        return Place::lost;
    return identityOf(logPath_) == logIdentity_ ? Place::kept : Place::logLost;
}

void PreferencesFile::leave() {
    if (place() == Place::logLost && !isTool_) {
        if (const PreferencesOwnership::Upkeep upkeep(ownership_); upkeep)
            log_.move();
    }
    close();
    if (logIdentity_ && identityOf(logPath_) == logIdentity_)
        ::unlink(logPath_.c_str());
    if (indexIdentity_ && identityOf(path_ + "-shm") == indexIdentity_)
        ::unlink((path_ + "-shm").c_str());
}

int PreferencesFile::step(const SQLiteStatement &statement) {
    const StatementUse use(statement);
    return sqlite3_step(use.get());
}

std::int64_t PreferencesFile::dataVersion() {
    const StatementUse use(dataVersion_);
    return sqlite3_step(use.get()) == SQLITE_ROW ? sqlite3_column_int64(use.get(), 0) : 0;
}

PreferencesTrouble PreferencesFile::load(const PreferencesMemory &memory, PreferencesRows &rows,
                                         Lists which) {
    int code = connection_.execute("BEGIN");
    std::int64_t loaded = 0;
    if (code == SQLITE_OK)
        code = connection_.number("PRAGMA user_version", version_);
    std::int64_t after =
        which == Lists::known ? PreferencesRows::noRecords : PreferencesRows::allRecords;
    if (code == SQLITE_OK) {
        loaded = dataVersion();
        if (which == Lists::grown && version_ > 1)
            code = records_.readFrom(after);
    }
    if (code == SQLITE_OK)
        code = rows.read(connection_, version_, after);
    const PreferencesTrouble trouble = connection_.trouble(code);
    connection_.execute("ROLLBACK");
    if (trouble)
        return trouble;
    loadedVersion_ = loaded;
    if (!logIdentity_) { // made by the first reading at the latest
        logIdentity_ = identityOf(logPath_);
        indexIdentity_ = identityOf(path_ + "-shm");
    }
    rows.finish(version_);
    apart_.clear();
    for (const auto &entry : rows.lists) {
        if (memory.isUnwritten(entry.first))
            apart_.insert(entry.first);
    }
    version1_ = {};
    if (version_ < preferencesFormatVersion)
        version1_ = rows;
    else
        records_.follow(rows, after == PreferencesRows::allRecords, apart_);
    return {};
}

int PreferencesFile::writeChange(const PreferencesChange &change) {
    const RecordList *records = change.column ? change.column->records() : nullptr;
    const bool wasList = records_.knows(change.key);
    if (!isOfVersion1() && (records != nullptr || wasList)) {
        const int code = records_.write(change.key, records);
        if (code != SQLITE_DONE || (records != nullptr && wasList))
            return code;
    }
    return writeEntry(change);
}

int PreferencesFile::writeEntry(const PreferencesChange &change) {
    const StatementUse use(change.column ? upsert_ : remove_);
    int code = sqlite3_bind_text64(use.get(), 1, change.key.data(), change.key.size(),
                                   SQLITE_STATIC, SQLITE_UTF8);
    if (code == SQLITE_OK && change.column)
        code = change.column->bind(use.get(), 2, 3);
    return code == SQLITE_OK ? sqlite3_step(use.get()) : code;
}

int PreferencesFile::handOver(const PreferencesChange &change) {
    SQLiteStatement insert;
    int code =
        connection_.prepare("INSERT INTO handovers(key,type,value) VALUES(?1,?2,?3)", insert);
    if (code == SQLITE_OK)
        code = sqlite3_bind_text64(insert.get(), 1, change.key.data(), change.key.size(),
                                   SQLITE_STATIC, SQLITE_UTF8);
    if (code == SQLITE_OK)
        code = change.column ? change.column->bind(insert.get(), 2, 3)
                             : sqlite3_bind_text(insert.get(), 2, "removed", -1, SQLITE_STATIC);
    return code == SQLITE_OK ? sqlite3_step(insert.get()) : code;
}

int PreferencesFile::forgetHandovers(std::int64_t last) {
    SQLiteStatement remove;
    int code = connection_.prepare("DELETE FROM handovers WHERE number<=?1", remove);
    if (code == SQLITE_OK)
        code = sqlite3_bind_int64(remove.get(), 1, last);
    return code == SQLITE_OK ? sqlite3_step(remove.get()) : code;
}

int PreferencesFile::writeAll(const PreferencesMemory::Unwritten &unwritten) {
    int code = doneAsOK(step(begin_));
    for (auto change = unwritten.changes.begin();
         change != unwritten.changes.end() && code == SQLITE_OK; ++change)
        code = doneAsOK(writeChange(*change));
    for (auto change = unwritten.handovers.begin();
         change != unwritten.handovers.end() && code == SQLITE_OK; ++change)
        code = doneAsOK(handOver(*change));
    if (unwritten.handled != 0 && code == SQLITE_OK)
        code = doneAsOK(forgetHandovers(unwritten.handled));
    return code == SQLITE_OK ? doneAsOK(step(commit_)) : code;
}

PreferencesTrouble PreferencesFile::write(const PreferencesMemory::Unwritten &unwritten) {
    int code = isOfVersion1() && !isTool_ ? takeOverVersion1() : SQLITE_OK;
    if (code == SQLITE_OK)
        code = writeAll(unwritten);
    const PreferencesTrouble trouble = connection_.trouble(code);
    if (!sqlite3_get_autocommit(connection_.get()))
        connection_.execute("ROLLBACK");
    if (trouble)
        records_.rolledBack();
    else
        records_.committed();
    return trouble;
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
    if (!wantsCheckpoint() || place() != Place::kept)
        return;
    if (const PreferencesOwnership::Upkeep upkeep(ownership_); upkeep)
        log_.move();
}

} // namespace vmr
