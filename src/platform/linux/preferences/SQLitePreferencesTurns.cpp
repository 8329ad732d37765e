#include "platform/GuardedCall.h"
#include "platform/RunThen.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/ServiceLoop.h"
#include "platform/linux/preferences/SQLitePreferences.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vmr {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds workerPatience{20};

} // namespace

thread_local SQLitePreferences::Turn *SQLitePreferences::Turn::innermost = nullptr;

SQLitePreferences::Turn::Turn(SQLitePreferences &store) : Turn(store, store.hostDeadline()) {}

SQLitePreferences::Turn::Turn(SQLitePreferences &store, Moment deadline, milliseconds endPatience)
    : store_(store), outer_(innermost), whole_(store.ownTurn()),
      disk_(whole_ == nullptr ? store.disk_.enterUntil(deadline) : nullptr),
      patience_(
          std::max(endPatience, std::chrono::ceil<milliseconds>(deadline - steady_clock::now()))) {
    innermost = this;
    if (whole_ == nullptr && !disk_)
        store_.memory_.beginBeside();
}

SQLitePreferences::Turn::~Turn() {
    innermost = outer_;
    if (isForkedChild()) // made inside an observer: nothing of the turn is the child's
        static_cast<void>(disk_.release());
    else if (whole_ == nullptr)
        store_.end(*this);
}

SQLitePreferences::Turn *SQLitePreferences::ownTurn() {
    for (Turn *turn = Turn::innermost; turn != nullptr; turn = turn->outer_) {
        if (&turn->store_ == this)
            return turn->whole_ != nullptr ? turn->whole_ : turn;
    }
    return nullptr;
}

/// The disk, where this thread's turn has it.
PreferencesDisk *SQLitePreferences::heldDisk() {
    Turn *const turn = ownTurn();
    return turn != nullptr ? turn->disk_.get() : nullptr;
}

SQLitePreferences::Moment SQLitePreferences::hostDeadline() const {
    // While somebody else is known to hold the file, the worker alone waits for it.
    const bool wait = !troubled_.load(std::memory_order_relaxed);
    return steady_clock::now() + (wait ? patience_ : milliseconds(0));
}

void SQLitePreferences::end(Turn &turn) {
    if (!turn.disk_)
        memory_.endBeside();
    bool isDone = false;
    callGuarded(*options_.log, "Writing the preferences", [&] {
        if (turn.disk_) {
            if (memory_.hasUnwritten() || turn.disk_->isTroubled())
                turn.disk_->save(steady_clock::now() + turn.patience_);
            leave(turn.disk_);
        } else if (memory_.hasUnwritten()) {
            background_.schedule(PreferencesWorker::Job::retry, milliseconds(0));
        }
        if (turn.isSynced_)
            flushLog();
        isDone = true;
    });
    if (isDone)
        return;
    // In fixed words: there may be no memory for others.
    options_.log->write(
        "VelmoraKit: the preferences cannot be written just now, perhaps for lack of memory; "
        "until then everything stays in memory, and is written as soon as that "
        "is possible.");
    callGuarded(*options_.log, "Writing the preferences",
                [&] { background_.schedule(PreferencesWorker::Job::retry, milliseconds(0)); });
}

void SQLitePreferences::load() {
    if (loaded_.load(std::memory_order_acquire))
        return;
    // Whoever comes meanwhile waits for what is being read; that is bounded.
    Disk::Access disk = disk_.enter();
    if (loaded_.load(std::memory_order_relaxed))
        return;
    disk->ready(steady_clock::now() + patience_);
    disk->takeDifferences(); // nobody has asked yet: nobody is told
    watched_ = disk->watch().descriptor();
    loaded_.store(true, std::memory_order_release);
    leave(disk);
    if (memory_.hasUnwritten()) // what was carried over from a damaged file
        const Turn turn(*this);
    if (watched_ >= 0)
        options_.loop->addDescriptor(watched_,
                                     whileAlive(&SQLitePreferences::lookForForeignWrites));
}

PreferencesTrouble SQLitePreferences::trouble() {
    if (const PreferencesDisk *const held = heldDisk())
        return held->trouble();
    const Disk::Access disk = disk_.enterUntil(steady_clock::now() + patience_);
    return disk ? disk->trouble() : PreferencesTrouble();
}

PreferencesInspection SQLitePreferences::inspect() {
    PreferencesInspection found =
        inspectPreferences(path_, options_.path.empty(), options_.isShared);
    // What a full disk does shows only to whoever writes.
    if (PreferencesTrouble own = trouble())
        found.trouble = std::move(own);
    found.worker = ownership_.worker();
    return found;
}

/// Observers are told on the main run loop, which takes the differences there.
void SQLitePreferences::leave(Disk::Access &disk) {
    const DiskNews news = disk->takeNews();
    const bool hasDifferences = disk->hasDifferences();
    troubled_.store(disk->isTroubled(), std::memory_order_relaxed);
    disk.reset();
    finish(news);
    if (hasDifferences)
        later({}, &SQLitePreferences::lookForForeignWrites);
}

void SQLitePreferences::say(std::string_view text, std::initializer_list<FormatArgument> arguments,
                            LogLevel level) {
    options_.log->write(formatArguments(text, arguments), level);
}

void SQLitePreferences::finish(const DiskNews &news) {
    for (const std::string &line : news.lines)
        options_.log->write(line);
    if (news.lookAfter)
        lookLater(*news.lookAfter);
}

void SQLitePreferences::lookForForeignWrites() {
    // Even if the disk is not to be had now: else the loop would not sleep until it is.
    ForeignWriteWatch::drain(watched_);
    bool isOver = true;
    runThen([&] { isOver = takeForeignWrites(); },
            [&] {
                if (isOver && isWaiting()) // for what may be over
                    startIfPossible();
            });
}

bool SQLitePreferences::takeForeignWrites() {
    lookForRival();
    const Turn turn(*this, steady_clock::now(), hostPatience);
    if (!turn.disk_) {
        lookLater(workerPatience);
        return false;
    }
    turn.disk_->lookForForeignWrites(steady_clock::now() + workerPatience);
    finish(turn.disk_->takeNews());
    for (const PreferencesChange &one : turn.disk_->takeDifferences()) {
        observers_.notify(this, one.key, one.before, one.after);
        if (one.number) // what came of a handover is written with the word that it is seen to
            memory_.handled(one);
    }
    return true;
}

void SQLitePreferences::lookLater(milliseconds delay) {
    if (!looking_.exchange(true))
        later(delay, &SQLitePreferences::lookNow);
}

void SQLitePreferences::lookNow() {
    looking_.store(false);
    lookForForeignWrites();
}

std::function<void()> SQLitePreferences::whileAlive(void (SQLitePreferences::*call)()) {
    return [self = weak_from_this(), call] {
        if (const auto store = self.lock())
            ((*store).*call)();
    };
}

void SQLitePreferences::later(milliseconds delay, void (SQLitePreferences::*call)()) {
    options_.loop->schedule(static_cast<double>(delay.count()) / 1000, whileAlive(call));
}

void SQLitePreferences::startWorker() {
    background_.start();
}

void SQLitePreferences::work(PreferencesWorker::Job job) {
    switch (job) {
    case PreferencesWorker::Job::flush:
        return flush();
    case PreferencesWorker::Job::retry: {
        const Turn turn(*this, steady_clock::now() + workerPatience);
        return;
    }
    case PreferencesWorker::Job::checkpoint:
        return checkpoint();
    }
}

void SQLitePreferences::flush() {
    Disk::Access disk = disk_.enter();
    disk->lookAfterOwnCommits();
    leave(disk);
    flushLog();
    if (sync_.hasFailed())
        background_.schedule(PreferencesWorker::Job::flush, sync_.patience());
}

void SQLitePreferences::checkpoint() {
    const milliseconds left = disk_.enter()->timeUntilMove();
    if (left > milliseconds(0))
        return background_.schedule(PreferencesWorker::Job::checkpoint, left);
    // Flushed already, the log holds up nobody who wants to write while it is moved.
    flushLog();
    moveLog(disk_.enter());
}

void SQLitePreferences::moveLog(Disk::Access disk) {
    if (!disk)
        return;
    disk->checkpoint();
    leave(disk);
}

bool SQLitePreferences::flushLog() {
    const int error = sync_.run([&] { return disk_.enter()->syncLogAgain(); });
    // Without a log, or beside a file that is refused, there is another trouble.
    const bool tell =
        error != 0 && error != ENOENT && trouble().kind != PreferencesTrouble::Kind::refused;
    if (!saidUnsynced_.exchange(tell) && tell)
        say("VelmoraKit: the log of %@ cannot be synced (%@), a power cut "
            "could lose what was set last; this process must be able to "
            "open it.",
            {path_, std::strerror(error)});
    return error == 0;
}

} // namespace vmr
