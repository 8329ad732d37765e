#include "platform/Format.h"
#include "platform/linux/ServiceLoop.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/SQLitePreferences.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace vmr {
namespace {

// How long somebody waits who can neither start nor be woken when that changes.
constexpr std::chrono::milliseconds untilFree{50};
constexpr std::chrono::milliseconds untilLockable{1000};
// Twice, since the end of the turn waits once more where the erasure could not be done.
constexpr std::chrono::milliseconds erasePatience{1'500};

std::string nameOf(pid_t process) {
    return process > 0 ? formatText("process %ld", process)
                       : "a process that cannot be seen from here";
}

} // namespace

void SQLitePreferences::work(std::function<void()> start) {
    load();
    starts_.push_back(std::move(start));
    if (isWaiting())
        return;
    try {
        startIfPossible();
    } catch (...) { // the caller is told, and makes it again
        starts_.clear();
        waiting_.store(false);
        throw;
    }
}

void SQLitePreferences::startIfPossible() {
    if (starts_.empty())
        return;
    const Turn turn(*this);
    PreferencesDisk *const disk = heldDisk();
    // Another thread has it, perhaps for long; or another program the file, and what the SDK knows
    // stands there: without it a start would take every string for a new one.
    if (disk == nullptr || disk->isWithheld()) {
        waiting_.store(true);
        return disk == nullptr ? later(untilFree, &SQLitePreferences::startIfPossible)
                               : startLater();
    }
    const std::optional<bool> isOurs =
        ownership_.takeWork(disk->trouble().kind == PreferencesTrouble::Kind::refused);
    if (isOurs.value_or(false))
        return start();
    const std::optional<pid_t> worker = isOurs ? ownership_.worker() : std::nullopt;
    const bool isNews = !std::exchange(saidWaiting_, true);
    waiting_.store(true);
    if (!isOurs) {
        if (isNews)
            say("VelmoraKit: %@-lock cannot be opened now, so that nobody can tell whether "
                "another process is in charge of the store. This one waits until it can; raise "
                "the limit of open files, or free some space.",
                {path_});
        watchWorker({});
        return startLater();
    }
    if (!worker) // it has ended since
        return later(untilFree, &SQLitePreferences::startIfPossible);
    if (isNews)
        say("VelmoraKit: %@ is in charge of the store %@ already. This one waits, and "
            "takes over when that ends; until then that one handles what is set here.",
            {nameOf(*worker), path_}, LogLevel::info);
    if (worker == worker_)
        return;
    watchWorker(worker);
    disk->watch().watchClosing(resolvedFolder(path_) + "-lock");
    // It may have ended before anybody watched it.
    later({}, &SQLitePreferences::startIfPossible);
}

/// However often it is asked for meanwhile, once.
void SQLitePreferences::startLater() {
    if (!std::exchange(startsLater_, true))
        later(untilLockable, &SQLitePreferences::startNow);
}

void SQLitePreferences::startNow() {
    startsLater_ = false;
    startIfPossible();
}

/// One descriptor sees a process that dies while a child of it lives on, that of the lock file one
/// that goes on without the store, or cannot be seen from here.
void SQLitePreferences::watchWorker(std::optional<pid_t> worker) {
    if (workerProcess_)
        options_.loop->removeDescriptor(workerProcess_.get());
    worker_ = worker;
    const bool isVisible = worker.value_or(0) > 0 && worker != ::getpid();
    workerProcess_ =
        OwnedDescriptor(isVisible ? static_cast<int>(::syscall(SYS_pidfd_open, *worker, 0)) : -1);
    if (workerProcess_)
        options_.loop->addDescriptor(workerProcess_.get(),
                                     whileAlive(&SQLitePreferences::startIfPossible));
}

void SQLitePreferences::start() {
    watchWorker({});
    waiting_.store(false);
    if (std::exchange(saidWaiting_, false))
        say("VelmoraKit: this process is in charge of the store %@ from now on.", {path_},
            LogLevel::info);
    auto starts = std::exchange(starts_, {});
    try {
        while (!starts.empty()) {
            starts.front()();
            starts.erase(starts.begin());
        }
    } catch (...) { // for lack of memory, perhaps
        starts_ = std::move(starts);
        waiting_.store(true);
        startLater();
        throw;
    }
}

std::optional<bool> SQLitePreferences::takeWork() {
    load();
    return ownership_.takeWork();
}

bool SQLitePreferences::erase(std::span<const std::string_view> keys) {
    using std::chrono::steady_clock;
    const Turn turn(*this, steady_clock::now() + erasePatience);
    for (const std::string &stored : memory_.keys())
        if (PreferencesDisk::isOneOf(keys, stored))
            removeObjectForKey(stored);
    starts_.clear();
    waiting_ = saidWaiting_ = false;
    watchWorker({});
    PreferencesDisk *const disk = heldDisk();
    if (disk == nullptr || !disk->erase(keys, steady_clock::now() + erasePatience))
        return false;
    ownership_.leaveWork();
    return true;
}

void SQLitePreferences::lookForRival() {
    const std::optional<pid_t> rival = ownership_.rival();
    if (rival && !std::exchange(saidRival_, true))
        say("VelmoraKit: %@-lock was removed or replaced while in use, and %@ is in charge of the "
            "store now, too: what both see becomes two events. End one of them, and leave that "
            "file alone.",
            {path_, nameOf(*rival)});
}

void SQLitePreferences::seeToHandovers(FunctionRef<void(const Changes &)> see) {
    PreferencesDisk &disk = *heldDisk();
    disk.takeHandovers(hostDeadline());
    finish(disk.takeNews());
    Changes toSee;
    for (PreferencesChange &one : disk.takeDifferences()) {
        if (one.number)
            toSee.push_back(std::move(one));
        else // whoever observes from now on learns of it by what it finds
            observers_.notify(this, one.key, one.before, one.after);
    }
    for (PreferencesChange &own : memory_.ownHandovers())
        toSee.push_back(std::move(own));
    see(toSee);
    for (const PreferencesChange &one : toSee)
        memory_.handled(one);
}

} // namespace vmr
