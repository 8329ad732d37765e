#include "platform/linux/preferences/PreferencesFile.h"

#include "platform/linux/preferences/PreferencesLayout.h"
#include "platform/linux/preferences/PreferencesSync.h"
#include "platform/linux/preferences/SQLiteFiles.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vmr {
namespace {

constexpr char upsert[] = "INSERT INTO preferences(key,type,value) VALUES(?1,?2,?3) "
                          "ON CONFLICT(key) DO UPDATE SET type=excluded.type,value=excluded.value";

void removeSame(const std::string &path, const std::optional<FileIdentity> &identity) {
    if (identity && identityOf(path) == identity)
        ::unlink(path.c_str());
}

} // namespace

void PreferencesFile::open(const std::string &path, Moment deadline) {
    close();
    const PreferencesFileState found = inspectPreferencesFile(path, isShared_);
    path_ = found.path;
    logPath_ = path_ + "-wal";
    if (found.isUnderRecovery)
        fail(PreferencesTrouble::Kind::damaged, "is damaged, and was being replaced");
    if (!found.identity || isShared_)
        createPreferencesFile(path_, isShared_);
    found.checkLength();
    identity_ = found.identity ? found.identity : identityOf(path_);
    if (!identity_)
        failWith(errno, "cannot be reached");
    logIdentity_.reset();
    connection_.waitForLocksUntil(deadline);
    connection_.open(path_, SQLiteConnection::Access::readWrite);
    if (found.hasJournal)
        connection_.requireDatabase();
    // The transaction in which `load` reads, too. What asks for the header alone takes the lock
    // first: to read the tables' names takes one for itself.
    connection_.execute("BEGIN");
    loadedVersion_ = dataVersion();
    const std::optional<std::int64_t> version = formatOfPreferences(connection_);
    version_ = version.value_or(preferencesFormatVersion);
    // A row is read once and kept by the memory: its page need not stay here as well. So many are
    // allocated at once in any case.
    connection_.execute("PRAGMA cache_size=20");
    if (!found.isPrivate) // and known to be ours
        takeReadRights(path_);
    if (!version || !connection_.hasLog()) {
        connection_.execute("COMMIT");
        // A sync belongs to the background; a new file gets its first one there.
        connection_.execute("PRAGMA synchronous=OFF;PRAGMA journal_mode=WAL");
    }
    // So that nobody takes the file for an empty one; what is in an older file becomes rows with
    // the first write.
    if (!version) {
        SQLiteTransaction whole(connection_);
        if (connection_.number("PRAGMA user_version") < preferencesFormatVersion)
            layOutPreferences(connection_);
        whole.commit();
    }
    if (isShared_) // also what SQLite has opened by name since
        inspectPreferencesFile(path_, isShared_);
    log_.follow(logPath_, found.logLength, !version);
}

bool PreferencesFile::takeOver(const PreferencesMemory::Unwritten &unwritten) {
    if (!isOfVersion1())
        return true;
    SQLiteTransaction whole(connection_);
    if (dataVersion() != loadedVersion_)
        return false;
    const auto isList = [](const auto &change) { return recordsOf(change.second) != nullptr; };
    if (isTool_ && unwritten.handovers.empty() && std::ranges::none_of(unwritten.changes, isList))
        return true;
    PreferencesRows rows;
    rows.read(connection_, version_);
    rows.finish(version_);
    layOutPreferences(connection_);
    for (const std::string &key : rows.takenOver)
        writeEntry(key, valueForKey(rows.entries, key));
    for (const auto &[list, stored] : rows.lists) {
        for (std::size_t at = 0; at < stored.numbers.size(); ++at)
            records_.insert(list, *stored.records[at], stored.numbers[at]);
        writeEntry(list, rows.entries.at(list));
    }
    whole.commit();
    version_ = preferencesFormatVersion;
    return true;
}

void PreferencesFile::close() {
    isCut_ = false;
    connection_.close();
}

PreferencesFile::~PreferencesFile() {
    if (!isOpen() || isTool_ || place() != Place::kept)
        return;
    if (const PreferencesOwnership::Upkeep upkeep(ownership_); upkeep) {
        sqlite3_db_config(connection_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        connection_.close();
    }
}

PreferencesFile::Place PreferencesFile::place() {
    const std::optional<off_t> length = lengthOfSame(path_, identity_);
    if (!length)
        return Place::lost;
    const std::optional<off_t> logLength = lengthOfSame(logPath_, logIdentity_);
    if (!logLength)
        return Place::logLost;
    isCut_ = log_.leastLength() > 0 && (*length == 0 || *logLength < log_.leastLength());
    return Place::kept;
}

void PreferencesFile::leave() {
    if (place() == Place::logLost && !isTool_) {
        if (const PreferencesOwnership::Upkeep upkeep(ownership_); upkeep)
            log_.move();
    }
    close();
    removeSame(logPath_, logIdentity_);
    removeSame(path_ + "-shm", indexIdentity_);
}

void PreferencesFile::load(const PreferencesMemory &memory, PreferencesRows &rows, Lists which) {
    const bool wasOfVersion1 = isOfVersion1();
    std::int64_t after = PreferencesRows::allRecords;
    std::int64_t loaded = 0;
    {
        const SQLiteTransaction whole(connection_, "BEGIN");
        loaded = dataVersion();
        if (loaded != loadedVersion_)
            version_ = formatOfPreferences(connection_).value_or(preferencesFormatVersion);
        const SQLiteReadAhead ahead(connection_.get());
        // Another process may just have made rows of what this one has read as a list.
        if (!wasOfVersion1 && which != Lists::all)
            after = which == Lists::grown && loaded != loadedVersion_ ? records_.readFrom()
                                                                      : PreferencesRows::noRecords;
        rows.read(connection_, version_, after);
    }
    if (!logIdentity_) { // made by the first reading at the latest
        connection_.execute("PRAGMA synchronous=NORMAL;PRAGMA secure_delete=FAST");
        logIdentity_ = identityOf(logPath_);
        indexIdentity_ = identityOf(path_ + "-shm");
    }
    if (isOfVersion1())
        rows.finish(version_);
    records_.begin(); // what is left of a transaction that failed goes first
    records_.follow(rows, after == PreferencesRows::allRecords, memory);
    loadedVersion_ = loaded;
}

void PreferencesFile::write(const std::string &key, const Value &value) {
    const RecordList *records = recordsOf(value);
    const bool wasList = records_.knows(key);
    const bool hasRows = !isOfVersion1() && (records != nullptr || wasList);
    if (hasRows)
        records_.write(key, records);
    if (!hasRows || records == nullptr || !wasList)
        writeEntry(key, value);
}

void PreferencesFile::writeEntry(const std::string &key, const Value &value) {
    const bool isRemoved = value.isAbsent();
    StatementUse use(connection_, isRemoved ? "DELETE FROM preferences WHERE key=?1" : upsert);
    use.bind(1, key);
    if (!isRemoved)
        bindValue(use, 2, 3, value);
    use.step();
}

void PreferencesFile::handOver(const PreferencesChange &change) {
    // Never a number again, also not in another file that takes this one's place.
    StatementUse use(
        connection_,
        "INSERT INTO handovers(number,key,type,value) SELECT max(?4,1+coalesce(max(number),0),"
        "1+coalesce((SELECT seq FROM sqlite_sequence WHERE name='handovers' AND "
        "seq<=9223372036854775807/4),0)),"
        "?1,?2,?3 FROM handovers WHERE number<=9223372036854775807/4");
    use.bind(1, change.key).bind(2, "removed").bind(4, change.number.value_or(numberOfNow()));
    if (!change.after.isAbsent())
        bindValue(use, 2, 3, change.after);
    use.step();
}

void PreferencesFile::write(const PreferencesMemory::Unwritten &unwritten) {
    SQLiteTransaction whole(connection_);
    change(unwritten);
    whole.commit();
    records_.committed();
}

void PreferencesFile::change(const PreferencesMemory::Unwritten &unwritten) {
    const std::int64_t version = dataVersion();
    if (version != loadedVersion_) // by who may have added to the tables
        formatOfPreferences(connection_);
    if (connection_.hasWaitedForLocks())
        place();
    if (version != std::exchange(writtenVersion_, version))
        log_.othersHaveWritten();
    else if (isCut_)
        fail(PreferencesTrouble::Kind::damaged,
             "is damaged (it or its log was cut or overwritten while in use)");
    records_.begin();
    for (const auto &[key, value] : unwritten.changes)
        write(key, value);
    for (const PreferencesChange &change : unwritten.handovers)
        handOver(change);
    for (const std::int64_t number : unwritten.handled)
        StatementUse(connection_, "DELETE FROM handovers WHERE number=?1").bind(1, number).step();
}

void PreferencesFile::erase(const PreferencesMemory::Unwritten &unwritten,
                            std::span<const std::string_view> keys) {
    connection_.execute("PRAGMA secure_delete=ON;PRAGMA temp_store=MEMORY");
    {
        SQLiteTransaction whole(connection_);
        change(unwritten);
        if (!isOfVersion1())
            connection_.execute("DELETE FROM records;DELETE FROM handovers");
        for (const std::string_view key : keys)
            StatementUse(connection_, "DELETE FROM preferences WHERE key=?1 OR "
                                      "substr(key,1,1+length(?1))=?1||'.'")
                .bind(1, key)
                .step();
        whole.commit();
        records_.committed();
    }
    // Moved once before, so that the pages that are cut off are zeroes in the file, too.
    connection_.execute("PRAGMA wal_checkpoint(FULL);VACUUM");
    settle();
}

PreferencesFile::Foreign PreferencesFile::lookForForeignCommits() {
    // Whoever holds the write lock may have written to the log without having published it; when
    // nobody does, every commit so far is visible.
    if (!isOpen())
        return Foreign::none;
    connection_.waitForLocksUntil({});
    try {
        const SQLiteTransaction alone(connection_);
        return dataVersion() != loadedVersion_ ? Foreign::committed : Foreign::none;
    } catch (const PreferencesTrouble &trouble) {
        // Another trouble shows when the file is read.
        return trouble.kind == PreferencesTrouble::Kind::locked ? Foreign::underWay
                                                                : Foreign::committed;
    }
}

bool PreferencesFile::wantsCheckpoint() const noexcept {
    return isOpen() && !isTool_ && log_.wantsMoving();
}

bool PreferencesFile::checkpoint() {
    if (!wantsCheckpoint() || place() != Place::kept)
        return true;
    const PreferencesOwnership::Upkeep upkeep(ownership_);
    return !upkeep || log_.move();
}

int PreferencesFile::syncLogAgain() {
    if (!isOpen())
        return ENOENT;
    connection_.waitForLocksUntil({});
    try {
        const SQLiteTransaction alone(connection_);
        return syncFileAgain(logPath_);
    } catch (const PreferencesTrouble &) {
        return EBUSY;
    }
}

void PreferencesFile::settle() {
    connection_.execute("PRAGMA synchronous=FULL");
    connection_.check(sqlite3_wal_checkpoint_v2(connection_.get(), nullptr,
                                                SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr));
    close();
}

} // namespace vmr
