#include "platform/linux/preferences/PreferencesLog.h"

#include "platform/Format.h"

#include <sqlite3.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstdint>

namespace vmr {
namespace {

// A page and its header, once for each page that a commit wrote. A start reads the whole log.
constexpr int framesBetweenMoves = 250;
constexpr std::uint64_t bytesOfAFrame = 4120;
constexpr int framesOfALargeLog = 8000;
constexpr int framesOfATooLargeLog = 2 * framesOfALargeLog;

} // namespace

void PreferencesLog::follow(const std::string &logPath, off_t length, bool ofNewFile) {
    ofNewFile_ = ofNewFile;
    committed_ = 0;
    pageSize_ = connection_.number("PRAGMA page_size");
    frames_ = static_cast<int>(std::min<std::uint64_t>(
        static_cast<std::uint64_t>(length) / bytesOfAFrame, framesOfALargeLog));
    sqlite3_wal_hook(connection_.get(), onCommit, this);
    measure(logPath, 0);
}

/// Of a short disk the log takes half of what is left at most: moving it may need as much.
void PreferencesLog::measure(const std::string &path, int moved) {
    struct statvfs disk {};
    std::uint64_t half = framesOfALargeLog;
    if (::statvfs(path.c_str(), &disk) == 0)
        half = std::min<std::uint64_t>(half, disk.f_bavail * disk.f_frsize / (2 * bytesOfAFrame));
    const int room = static_cast<int>(half);
    const bool isShort = room < framesOfALargeLog;
    tooLargeAt_ = isShort ? frames_ + room : framesOfATooLargeLog;
    largeAt_ = isShort ? frames_ + room / 2 : framesOfALargeLog;
    moveAt_ = std::min(moved + framesBetweenMoves, std::max(frames_ + room / 4, 1));
}

int PreferencesLog::onCommit(void *self, sqlite3 *, const char *, int frames) {
    auto &log = *static_cast<PreferencesLog *>(self);
    log.frames_ = log.committed_ = frames;
    log.lastCommit_ = std::chrono::steady_clock::now();
    return SQLITE_OK;
}

off_t PreferencesLog::leastLength() const noexcept {
    constexpr off_t header = 32;
    constexpr off_t headerOfAFrame = 24;
    return committed_ == 0 ? 0 : header + committed_ * (headerOfAFrame + pageSize_);
}

std::chrono::milliseconds PreferencesLog::timeUntilQuiet(Moment now, Moment lastCommit,
                                                         bool isLarge) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(lastCommit + quietTime - now);
    return isLarge ? milliseconds(0) : std::max(left, milliseconds(0));
}

bool PreferencesLog::move() {
    int frames = 0;
    int moved = 0;
    const int code = sqlite3_wal_checkpoint_v2(connection_.get(), nullptr,
                                               SQLITE_CHECKPOINT_PASSIVE, &frames, &moved);
    const bool whole = code == SQLITE_OK && frames == moved;
    if (whole)
        startAnew();
    frames_ = whole ? 0 : frames_;
    measure(sqlite3_db_filename(connection_.get(), "main"), frames_);
    return code != SQLITE_IOERR_FSYNC;
}

void PreferencesLog::startAnew() {
    ofNewFile_ = false;
    committed_ = 0;
    connection_.waitForLocksUntil({});
    // SQLite syncs a log's header with the log's first commit: with this one, so that no set of the
    // host waits for it.
    if (sqlite3_wal_checkpoint_v2(connection_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                  nullptr) != SQLITE_OK)
        return;
    try {
        const std::int64_t version = connection_.number("PRAGMA user_version");
        connection_.execute(formatText("PRAGMA user_version=%ld", version).c_str());
    } catch (const PreferencesTrouble &) { // then that one does
    }
}

} // namespace vmr
