#pragma once

#include "platform/linux/preferences/PreferencesColumn.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesLog.h"
#include "platform/linux/preferences/PreferencesOwnership.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vmr {

/// A key and what becomes of it; without a column it goes away.
struct PreferencesChange {
    std::string key;
    std::optional<PreferencesColumn> column;
};

/// The open preferences file and what this process knows to stand in it. Not safe from several
/// threads at once. Fails with a trouble that says what to do.
class PreferencesFile {
public:
    using Moment = SQLiteConnection::Moment;

    explicit PreferencesFile(bool isTool) : isTool_(isTool) {}
    ~PreferencesFile() { close(); }

    /// Makes the file where it is missing. Waits for other processes until the deadline.
    PreferencesTrouble open(const std::string &path, Moment deadline);
    bool isOpen() const noexcept { return connection_.isOpen(); }
    void close();

    enum class Place { kept, logLost, lost };
    /// Whether the path still leads to the open file and to its log.
    Place place() const;
    /// Closes a file that lost its place. A log that alone was lost is moved into the file before;
    /// one that stays without its file is removed, so that it never becomes another file's.
    void leave();
    /// What this process knows to stand in the file.
    std::vector<PreferencesChange> knownRows() const;
    void waitForLocksUntil(Moment deadline) noexcept { connection_.waitForLocksUntil(deadline); }
    bool hasWaitedForLocks() const noexcept { return connection_.hasWaitedForLocks(); }

    /// Gives what differs from what stood there at the last look, and the keys whose rows cannot
    /// be understood and were not named before.
    PreferencesTrouble load(std::vector<PreferencesChange> &changes,
                            std::vector<std::string> &unreadable);
    /// One transaction; rows that already stand there are left alone. `committed` tells whether
    /// there was anything to write.
    PreferencesTrouble write(const std::vector<PreferencesChange> &changes, bool &committed);

    enum class Foreign { none, committed, underWay };
    /// Whether another process has written since the last `load`, or is just writing.
    Foreign lookForForeignCommits();

    /// Whether the log is to be moved into the file.
    bool wantsCheckpoint() const noexcept;
    const PreferencesLog &log() const noexcept { return log_; }
    /// Moves the log, unless another process is the one that does so.
    void checkpoint();
    /// Whether another process was found to be the one that moves the log and replaces the file.
    bool isOwnedElsewhere() const noexcept { return ownership_.isElsewhere(); }

private:
    PreferencesTrouble openConnection(const std::string &path);
    PreferencesTrouble layOut();
    PreferencesTrouble prepareStatements();
    bool differsFromFile(const PreferencesChange &change);
    int writeOne(const PreferencesChange &change);
    int writeAll(const std::vector<const PreferencesChange *> &changes);
    int step(const SQLiteStatement &statement);
    std::int64_t dataVersion();
    void readRow(sqlite3_stmt *row, std::set<std::string, std::less<>> &seen,
                 std::vector<PreferencesChange> &changes, std::vector<std::string> &unreadable);
    bool takesOwnership();

    const bool isTool_;
    std::string path_;
    std::string logPath_;
    std::optional<FileIdentity> identity_;
    std::optional<FileIdentity> logIdentity_;
    std::optional<FileIdentity> indexIdentity_;
    PreferencesOwnership ownership_;
    SQLiteConnection connection_;
    PreferencesLog log_{connection_};
    SQLiteStatement upsert_;
    SQLiteStatement remove_;
    SQLiteStatement begin_;
    SQLiteStatement commit_;
    SQLiteStatement dataVersion_;
    std::map<std::string, PreferencesColumn, std::less<>> rows_;
    std::set<std::string, std::less<>> unreadable_;
    std::int64_t loadedVersion_ = 0;
};

} // namespace vmr
