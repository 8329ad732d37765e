#include "platform/linux/preferences/PreferencesStore.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"
#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesPlace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

namespace vmr {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The most that a thread of the host waits for the file; a tool has nothing better to do.
constexpr milliseconds hostPatience{50};
constexpr milliseconds toolPatience{1000};
constexpr milliseconds workerPatience{20};
constexpr milliseconds flushDelay{300};

/// The errno of what failed, or 0.
int flushFile(const std::string &path, int flags) {
    const OwnedDescriptor file(::open(path.c_str(), flags | O_RDONLY | O_CLOEXEC));
    return file && ::fdatasync(file.get()) == 0 ? 0 : errno;
}

} // namespace

PreferencesStore::PreferencesStore(SQLitePreferencesOptions options,
                                   std::function<void(const Differences &)> onForeign)
    : options_(std::move(options)),
      path_(options_.path.empty() ? defaultPreferencesPath(options_.bundleIdentifier)
                                  : options_.path),
      patience_(options_.isTool ? toolPatience : hostPatience), onForeign_(std::move(onForeign)),
      disk_(options_, path_),
      worker_(std::make_shared<PreferencesWorker>(
          [this](PreferencesWorker::Job job) {
              callGuarded(*options_.log, "A job of the preferences", [this, job] { work(job); });
          },
          options_.loop.runLater)) {}

PreferencesStore::~PreferencesStore() {
    worker_->stop();
}

void PreferencesStore::load() {
    if (loaded_.load(std::memory_order_acquire))
        return;
    DiskNews news;
    int watch = -1;
    {
        // Whoever comes meanwhile waits for what is being read; that is bounded.
        const Disk::Access disk = disk_.enter();
        if (loaded_.load(std::memory_order_relaxed))
            return;
        disk->ready(steady_clock::now() + patience_, news);
        troubled_.store(disk->isTroubled(), std::memory_order_relaxed);
        Differences ignored; // nobody has asked yet
        adopt(news, ignored);
        watch = disk->watch().descriptor();
        loaded_.store(true, std::memory_order_release);
    }
    finish(news);
    if (memory_.hasUnwritten()) // what was carried over from a damaged file
        save();
    if (watch >= 0 && !watching_.exchange(true))
        options_.loop.watchDescriptor(watch, [self = weak_from_this(), watch] {
            const auto store = self.lock();
            if (!store)
                return;
            // Even if the disk is not to be had now: else the loop would not sleep until it is.
            ForeignWriteWatch::drain(watch);
            store->lookForForeignWrites();
        });
}

PreferencesTrouble PreferencesStore::trouble() {
    const Disk::Access disk = disk_.enterUntil(steady_clock::now() + patience_);
    return disk ? disk->trouble() : PreferencesTrouble();
}

void PreferencesStore::save() {
    // While somebody else is known to hold the file, the worker alone waits for it.
    const bool wait = !troubled_.load(std::memory_order_relaxed);
    saveUntil(steady_clock::now() + (wait ? patience_ : milliseconds(0)));
}

void PreferencesStore::saveUntil(Moment deadline) {
    DiskNews news;
    Differences found;
    if (const Disk::Access disk = disk_.enterUntil(deadline)) {
        followFile(*disk, deadline, news, found);
        bool again = true;
        while (again) {
            const PreferencesMemory::Unwritten unwritten = memory_.unwritten();
            const bool saved = disk->save(unwritten, deadline, news);
            again = saved && news.recovered;
            // First, so that a file that was only now read does not win over what was just written.
            adopt(news, found);
            if (saved)
                memory_.written(unwritten);
        }
        troubled_.store(disk->isTroubled(), std::memory_order_relaxed);
    } else if (memory_.hasUnwritten()) {
        news.retryAfter = milliseconds(0);
    }
    finish(news);
    if (!found.empty() && options_.loop.runLater)
        options_.loop.runLater(0, [self = weak_from_this(), found = std::move(found)] {
            if (const auto store = self.lock())
                store->onForeign_(found);
        });
}

void PreferencesStore::followFile(PreferencesDisk &disk, Moment deadline, DiskNews &news,
                                  Differences &found) {
    using Place = PreferencesFile::Place;
    const Place place = disk.leaveLostFile(deadline, news);
    if (place == Place::kept)
        return;
    folderFlushed_.store(false);
    adopt(news, found);
    if (place == Place::logLost)
        memory_.writeAnew();
    // Another file's content counts as another program's writes.
    disk.ready(deadline, news);
    adopt(news, found);
    memory_.writeAnew();
}

void PreferencesStore::adopt(DiskNews &news, Differences &found) {
    Differences more = memory_.adopt(news.changes);
    news.changes.clear();
    found.insert(found.end(), std::make_move_iterator(more.begin()),
                 std::make_move_iterator(more.end()));
    if (std::exchange(news.recovered, false))
        memory_.writeAnew();
}

void PreferencesStore::finish(DiskNews &news) {
    for (const std::string &line : news.lines)
        options_.log->write(line);
    if (news.committed) {
        lastCommit_.store(steady_clock::now(), std::memory_order_relaxed);
        worker_->schedule(PreferencesWorker::Job::flush, flushDelay);
    }
    if (news.wantsCheckpoint)
        worker_->schedule(PreferencesWorker::Job::checkpoint, PreferencesLog::quietTime);
    if (news.retryAfter)
        worker_->schedule(PreferencesWorker::Job::retry, *news.retryAfter);
    if (news.lookAfter)
        lookLater(*news.lookAfter);
}

void PreferencesStore::lookForForeignWrites() {
    DiskNews news;
    Differences found;
    if (const Disk::Access disk = disk_.enterUntil(steady_clock::now())) {
        followFile(*disk, steady_clock::now() + workerPatience, news, found);
        disk->lookForForeignWrites(news);
        adopt(news, found);
        if (memory_.hasUnwritten())
            news.retryAfter = milliseconds(0);
        troubled_.store(disk->isTroubled(), std::memory_order_relaxed);
    } else {
        news.lookAfter = workerPatience;
    }
    finish(news);
    if (!found.empty())
        onForeign_(found);
}

void PreferencesStore::lookLater(milliseconds delay) {
    if (!options_.loop.runLater || looking_.exchange(true))
        return;
    options_.loop.runLater(static_cast<double>(delay.count()) / 1000, [self = weak_from_this()] {
        if (const auto store = self.lock()) {
            store->looking_.store(false);
            store->lookForForeignWrites();
        }
    });
}

void PreferencesStore::work(PreferencesWorker::Job job) {
    switch (job) {
    case PreferencesWorker::Job::flush:
        return flush();
    case PreferencesWorker::Job::retry:
        return saveUntil(steady_clock::now() + workerPatience);
    case PreferencesWorker::Job::checkpoint:
        return checkpoint();
    }
}

void PreferencesStore::flush() {
    DiskNews news;
    disk_.enter()->lookAfterOwnCommits(news);
    finish(news);
    flushLog();
}

void PreferencesStore::checkpoint() {
    const int logFrames = disk_.enter()->logFrames();
    const auto left = PreferencesLog::timeUntilQuiet(
        steady_clock::now(), lastCommit_.load(std::memory_order_relaxed), logFrames);
    if (left > milliseconds(0))
        return worker_->schedule(PreferencesWorker::Job::checkpoint, left);
    // Flushed already, the log holds up nobody who wants to write while it is moved.
    flushLog();
    moveLog(disk_.enter());
}

void PreferencesStore::moveLog(Disk::Access access) {
    DiskNews news;
    if (const Disk::Access disk = std::move(access))
        disk->checkpoint(news);
    finish(news);
}

bool PreferencesStore::flushLog() {
    const int error = flushFile(path_ + "-wal", 0);
    if (!folderFlushed_.exchange(true)) // as far as its file system knows how to
        flushFile(folderOf(path_), O_DIRECTORY);
    const bool tell = error != 0 && error != ENOENT; // without a log there is another trouble
    if (!saidUnsynced_.exchange(tell) && tell)
        options_.log->write(
            formatText("Preferences: the log of %@ cannot be synced (%@), a power cut "
                       "could lose what was set last; this process must be able to "
                       "open it.",
                       path_, std::strerror(error)));
    return error == 0;
}

bool PreferencesStore::synchronize(milliseconds patience) {
    const Moment deadline = steady_clock::now() + patience;
    load();
    save();
    // Only now, so that what other threads set meanwhile is known not to be worth waiting for.
    if (memory_.hasUnwritten())
        saveUntil(deadline);
    if (path_.empty() || memory_.hasUnwritten() || !flushLog())
        return false;
    moveLog(disk_.enterUntil(steady_clock::now() + hostPatience));
    return true;
}

void PreferencesStore::close() {
    worker_->stop();
    if (watching_.exchange(false) && options_.loop.unwatchDescriptor)
        options_.loop.unwatchDescriptor(disk_.enter()->watch().descriptor());
    if (memory_.hasUnwritten())
        saveUntil(steady_clock::now() + hostPatience);
}

} // namespace vmr
