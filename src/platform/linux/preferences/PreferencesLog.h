#pragma once

#include "platform/linux/preferences/SQLiteConnection.h"

#include <chrono>
#include <string>

namespace vmr {

/// SQLite's write-ahead log of the open preferences file: how long it is, and when and how it is
/// moved into the file. Used where its connection is.
class PreferencesLog {
public:
    using Moment = SQLiteConnection::Moment;

    explicit PreferencesLog(SQLiteConnection &connection) : connection_(connection) {}

    /// Follows the log of the connection's file from now on. A new file is one whose first page
    /// was never synced.
    void follow(const std::string &logPath, bool ofNewFile);
    int frames() const noexcept { return frames_; }
    /// Whether the log has grown enough, or the file is new.
    bool wantsMoving() const noexcept { return ofNewFile_ || frames_ >= moveAt_; }
    /// Whether it grows faster than it is moved in the background.
    bool isTooLarge() const noexcept;

    /// While the log is moved, no set can be written: that waits for a pause, unless the log has
    /// become large.
    static constexpr std::chrono::milliseconds quietTime{1000};
    static std::chrono::milliseconds timeUntilQuiet(Moment now, Moment lastCommit, int frames);
    void move();

private:
    static int onCommit(void *self, sqlite3 *database, const char *name, int frames);
    void startAnew();
    void rewriteHeader();

    SQLiteConnection &connection_;
    bool ofNewFile_ = false;
    int frames_ = 0;
    int moveAt_ = 0;
};

} // namespace vmr
