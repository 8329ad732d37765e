#include "platform/linux/preferences/PreferencesLog.h"

#include "platform/Format.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

namespace vmr {
namespace {

// A page and its header, once for each page that a commit wrote. A start reads the whole log.
constexpr int framesBetweenMoves = 250;
constexpr std::int64_t bytesOfAFrame = 4120;
constexpr int framesOfALargeLog = 8000;
constexpr int framesOfATooLargeLog = 2 * framesOfALargeLog;

} // namespace

void PreferencesLog::follow(const std::string &logPath, bool ofNewFile) {
    ofNewFile_ = ofNewFile;
    frames_ = 0;
    moveAt_ = framesBetweenMoves;
    sqlite3_wal_hook(connection_.get(), onCommit, this);
    struct stat log {};
    if (::stat(logPath.c_str(), &log) == 0)
        frames_ = static_cast<int>(
            std::min<std::int64_t>(log.st_size / bytesOfAFrame, framesOfALargeLog));
}

bool PreferencesLog::isTooLarge() const noexcept {
    return frames_ >= framesOfATooLargeLog;
}

int PreferencesLog::onCommit(void *self, sqlite3 *, const char *, int frames) {
    static_cast<PreferencesLog *>(self)->frames_ = frames;
    return SQLITE_OK;
}

std::chrono::milliseconds PreferencesLog::timeUntilQuiet(Moment now, Moment lastCommit,
                                                         int frames) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(lastCommit + quietTime - now);
    return frames >= framesOfALargeLog ? milliseconds(0) : std::max(left, milliseconds(0));
}

void PreferencesLog::move() {
    int frames = 0;
    int moved = 0;
    const int code = sqlite3_wal_checkpoint_v2(connection_.get(), nullptr,
                                               SQLITE_CHECKPOINT_PASSIVE, &frames, &moved);
    const bool whole = code == SQLITE_OK && frames == moved;
    if (whole)
        startAnew();
    moveAt_ = (whole ? 0 : frames_) + framesBetweenMoves;
    frames_ = whole ? 0 : frames_;
}

void PreferencesLog::startAnew() {
    ofNewFile_ = false;
    connection_.waitForLocksUntil({});
    // SQLite syncs a log's header with the log's first commit: with this one, so that no set of the
    // host waits for it.
    if (sqlite3_wal_checkpoint_v2(connection_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                  nullptr) == SQLITE_OK)
        rewriteHeader();
}

void PreferencesLog::rewriteHeader() {
    try {
        const std::int64_t version = connection_.number("PRAGMA user_version");
        connection_.execute(formatText("PRAGMA user_version=%ld", version).c_str());
    } catch (const PreferencesTrouble &) { // then that one does
    }
}

} // namespace vmr
