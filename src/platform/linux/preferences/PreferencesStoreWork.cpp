#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesStore.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

namespace vmr {
namespace {

// How long somebody waits who can neither start nor be woken when that changes.
constexpr std::chrono::milliseconds untilFree{50};
constexpr std::chrono::milliseconds untilLockable{1000};

std::string nameOf(pid_t process) {
    return process > 0 ? formatText("process %ld", process)
                       : "a process that cannot be seen from here";
}

} // namespace

void PreferencesStore::work(std::function<void()> start) {
    load();
    starts_.push_back(std::move(start));
    if (!isWaiting())
        startIfPossible();
}

void PreferencesStore::startIfPossible() {
    using Work = PreferencesOwnership::Work;
    while (!starts_.empty()) {
        const Turn turn(*this);
        if (!ownTurn()->disk_) { // another thread has it, perhaps for long
            waiting_.store(true);
            return startLater(untilFree);
        }
        const Work work = ownership_.takeWork();
        if (work == Work::taken)
            return start();
        const bool isNews = !waiting_.exchange(true);
        if (work == Work::unknown) {
            if (isNews)
                options_.log->write(formatText(
                    "VelmoraKit: %@-lock cannot be opened (%@), so that nobody can tell whether "
                    "another process works the store. This one waits until it can; raise the limit "
                    "of open files, or free some space.",
                    path_, std::strerror(ownership_.error())));
            return startLater(untilLockable);
        }
        const std::optional<pid_t> worker = ownership_.worker();
        if (isNews)
            options_.log->write(formatText(
                "VelmoraKit: %@ works the store %@ already. This one waits, and takes over when "
                "that ends; until then that one sees to what is set here.",
                nameOf(worker.value_or(0)), path_));
        if (worker)
            return watchWorker(*worker);
    }
}

void PreferencesStore::startLater(std::chrono::milliseconds delay) {
    if (options_.loop.runLater)
        options_.loop.runLater(static_cast<double>(delay.count()) / 1000,
                               [self = weak_from_this()] {
                                   if (const auto store = self.lock())
                                       store->startIfPossible();
                               });
}

void PreferencesStore::watchWorker(pid_t worker) {
    if (workerWatch_ && workerWatch_->worker() == worker)
        return;
    workerWatch_ = std::make_unique<WorkerWatch>(options_.loop, resolvedFolder(path_), worker,
                                                 [self = weak_from_this()] {
                                                     if (const auto store = self.lock())
                                                         store->startIfPossible();
                                                 });
    startLater({}); // it may have ended before anybody watched it
}

void PreferencesStore::start() {
    workerWatch_.reset();
    if (waiting_.exchange(false))
        options_.log->write(
            formatText("VelmoraKit: this process works the store %@ from now on.", path_));
    for (const auto &start : std::exchange(starts_, {}))
        start();
}

void PreferencesStore::lookForRival() {
    const std::optional<pid_t> rival = ownership_.rival();
    if (rival && !std::exchange(saidRival_, true))
        options_.log->write(formatText(
            "VelmoraKit: %@-lock was removed or replaced while in use, and %@ works the store now, "
            "too: what both see becomes two events. End one of them, and leave that file alone.",
            path_, nameOf(*rival)));
}

void PreferencesStore::seeToHandovers(const std::function<void(const Differences &)> &see) {
    PreferencesDisk &disk = *ownTurn()->disk_;
    disk.takeHandovers(hostDeadline());
    DiskNews news = disk.takeNews();
    finish(news);
    const auto handovers = std::stable_partition(news.differences.begin(), news.differences.end(),
                                                 [](const auto &one) { return !one.number; });
    Differences toSee(std::make_move_iterator(handovers),
                      std::make_move_iterator(news.differences.end()));
    news.differences.erase(handovers, news.differences.end());
    // Whoever observes from now on learns of it by what it finds.
    notify(news);
    const Differences own = memory_.ownHandovers();
    toSee.insert(toSee.end(), own.begin(), own.end());
    see(toSee);
    for (const PreferencesChange &one : toSee)
        memory_.handled(one);
}

} // namespace vmr
