#pragma once

#include "platform/linux/preferences/SQLiteConnection.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace vmr {

/// SQLite's write-ahead log of the open preferences file: how long it is, and when and how it is
/// moved into the file. Used where its connection is.
class PreferencesLog {
public:
    using Moment = SQLiteConnection::Moment;

    explicit PreferencesLog(SQLiteConnection &connection) : connection_(connection) {}

    /// Follows the log of the connection's file, of that length in bytes, from now on. A new file
    /// is one whose first page was never synced.
    void follow(const std::string &logPath, off_t length, bool ofNewFile);
    bool isEmpty() const noexcept { return frames_ == 0; }
    /// How long it is at least after this connection's last commit, unless others have written.
    off_t leastLength() const noexcept;
    void othersHaveWritten() noexcept { committed_ = 0; }
    /// Whether the log has grown enough, or the file is new.
    bool wantsMoving() const noexcept { return ofNewFile_ || frames_ >= moveAt_; }

    /// While the log is moved, no set can be written: that waits for a pause, unless the log has
    /// become large, for its disk too.
    static constexpr std::chrono::milliseconds quietTime{1000};
    static std::chrono::milliseconds timeUntilQuiet(Moment now, Moment lastCommit, bool isLarge);
    Moment lastCommit() const noexcept { return lastCommit_; }
    bool isLarge() const noexcept { return frames_ >= largeAt_; }
    /// Whether it grows faster than it is moved in the background, or has taken so much of a short
    /// disk that the move can wait for nobody.
    bool isTooLarge() const noexcept { return frames_ >= tooLargeAt_; }
    /// False where the system may have dropped something of the log.
    bool move();

private:
    static int onCommit(void *self, sqlite3 *database, const char *name, int frames);
    void startAnew();
    void measure(const std::string &path, int moved);

    SQLiteConnection &connection_;
    bool ofNewFile_ = false;
    int frames_ = 0;
    int committed_ = 0;
    Moment lastCommit_;
    std::int64_t pageSize_ = 0;
    int moveAt_ = 0;
    int largeAt_ = 0;
    int tooLargeAt_ = 0;
};

} // namespace vmr
