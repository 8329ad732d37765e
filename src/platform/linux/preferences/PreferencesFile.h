#pragma once

#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesLog.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/PreferencesOwnership.h"
#include "platform/linux/preferences/RecordRows.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vmr {

/// The open preferences file. Not safe from several threads at once. What fails throws a
/// PreferencesTrouble that says what to do.
class PreferencesFile {
public:
    using Moment = SQLiteConnection::Moment;

    PreferencesFile(bool isTool, bool isShared, PreferencesOwnership &ownership)
        : isTool_(isTool), isShared_(isShared), ownership_(ownership) {}
    /// The last one that closes a file in order moves its log.
    ~PreferencesFile();

    /// Makes the file where it is missing. Waits for other processes until the deadline.
    void open(const std::string &path, Moment deadline);
    bool isOpen() const noexcept { return connection_.isOpen(); }
    /// Without links.
    const std::string &path() const noexcept { return path_; }
    /// What was read need not have been taken over: it is read anew.
    void close();

    enum class Place { kept, logLost, lost };
    /// Whether the path still leads to the open file and to its log. What was cut of either is
    /// found out, too, and in the way of the next write.
    Place place();
    /// Closes a file that lost its place. A log that alone was lost is moved into the file before;
    /// one that stays without its file is removed, so that it never becomes another file's.
    void leave();
    void waitForLocksUntil(Moment deadline) noexcept { connection_.waitForLocksUntil(deadline); }
    bool hasWaitedForLocks() const noexcept { return connection_.hasWaitedForLocks(); }

    /// What is read of the lists of records: all of them; what others have added or removed; or
    /// nothing, by the process that alone writes them.
    enum class Lists { all, grown, known };
    /// Reads what is there. A list that the memory has set and not written yet stays apart from the
    /// rows that the file has of it: both are read at the next start.
    void load(const PreferencesMemory &memory, PreferencesRows &rows, Lists which);
    /// The rows were read before the file could be opened.
    void remember(const PreferencesMemory &memory, PreferencesRows &rows) {
        records_.follow(rows, true, memory);
    }
    /// Replaces an older format by what was read of it, before anything else is written; a tool
    /// does so only for what the older one cannot hold. False where what was read is not the
    /// newest: it is to be read again.
    bool takeOver(const PreferencesMemory::Unwritten &unwritten);
    /// One transaction.
    void write(const PreferencesMemory::Unwritten &unwritten);
    /// The same, and what these keys and the tables beside them hold is overwritten. Closes it.
    void erase(const PreferencesMemory::Unwritten &unwritten,
               std::span<const std::string_view> keys);

    enum class Foreign { none, committed, underWay };
    /// Whether another process has written since the last `load`, or is just writing.
    Foreign lookForForeignCommits();

    /// Whether the log is to be moved into the file.
    bool wantsCheckpoint() const noexcept;
    const PreferencesLog &log() const noexcept { return log_; }
    /// Moves the log, unless another process is the one that does so. False where the
    /// system may have dropped something of it.
    bool checkpoint();
    int syncLogAgain();
    /// Of a file that nobody else has open: closes it when all of it stands in the file itself, on
    /// the disk.
    void settle();

private:
    bool isOfVersion1() const noexcept { return version_ < 2; }
    void change(const PreferencesMemory::Unwritten &unwritten);
    void write(const std::string &key, const Value &value);
    void writeEntry(const std::string &key, const Value &value);
    void handOver(const PreferencesChange &change);
    std::int64_t dataVersion() { return connection_.number("PRAGMA data_version"); }

    const bool isTool_;
    const bool isShared_;
    PreferencesOwnership &ownership_;
    std::string path_;
    std::string logPath_;
    std::optional<FileIdentity> identity_;
    std::optional<FileIdentity> logIdentity_;
    std::optional<FileIdentity> indexIdentity_;
    SQLiteConnection connection_;
    PreferencesLog log_{connection_};
    RecordRows records_{connection_};
    std::int64_t version_ = 0;
    bool isCut_ = false;
    std::int64_t loadedVersion_ = 0;
    std::int64_t writtenVersion_ = 0;
};

} // namespace vmr
