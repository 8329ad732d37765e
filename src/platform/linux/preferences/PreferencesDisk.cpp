#include "platform/linux/preferences/PreferencesDisk.h"

#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesInspection.h"
#include "platform/linux/preferences/PreferencesPlace.h"

#include <algorithm>
#include <iterator>
#include <thread>
#include <utility>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds otherWritersTime{20};
constexpr milliseconds flushDelay{300};

const char *consequence(Kind kind, bool isTool) {
    if (isTool) // it ends before it could write what it holds
        return kind == Kind::readOnly ? "; until then nothing is written."
                                      : "; until then nothing is read or written.";
    return kind == Kind::refused ? "; until then nothing is stored, everything stays in memory."
                                 : "; until then everything stays in memory, and is written as "
                                   "soon as that is possible.";
}

} // namespace

PreferencesDisk::PreferencesDisk(const SQLitePreferencesOptions &options, const std::string &path,
                                 PreferencesMemory &memory, PreferencesOwnership &ownership,
                                 PreferencesSync &sync, PreferencesWorker &worker)
    : options_(options), path_(path), memory_(memory), ownership_(ownership), sync_(sync),
      worker_(worker), file_(options.isTool, options.isShared, ownership) {}

bool PreferencesDisk::ready(Moment deadline) {
    return file_.isOpen() || use(deadline, [](bool) {});
}

/// Opens the file unless that is done, and does the work with it.
bool PreferencesDisk::use(Moment deadline, FunctionRef<void(bool wasOpen)> work) {
    if (trouble_.kind == Kind::refused)
        return false;
    PreferencesTrouble trouble = attempt(deadline, [&] {
        const bool wasOpen = openAndLoad(deadline);
        file_.waitForLocksUntil(deadline);
        work(wasOpen);
    });
    if (trouble.kind == Kind::readOnly && !wasRead_) {
        try {
            PreferencesRows rows = readRowsInPlace(resolvedFolder(path_));
            file_.remember(memory_, rows);
            adopt(rows, false);
        } catch (PreferencesTrouble &reading) {
            if (reading.kind == Kind::refused)
                trouble = std::move(reading);
        }
    }
    note(trouble);
    return !trouble;
}

/// What stood in the way in the end. A damaged file is replaced before; what failed is tried once
/// more, with the file opened anew.
PreferencesTrouble PreferencesDisk::attempt(Moment deadline, FunctionRef<void()> work) {
    PreferencesTrouble trouble;
    bool mayRecover = true;
    bool mayRepeat = !isTroubled();
    for (;;) {
        const bool isDamaged = trouble.kind == Kind::damaged;
        try {
            if (isDamaged)
                recover(trouble.text, deadline);
            work();
            return {};
        } catch (PreferencesTrouble &caught) {
            trouble = std::move(caught);
            // Held for long, it may be held by this connection itself: a lock that could not be
            // given back ends with it.
            const bool isLong = trouble_.kind == Kind::locked && retry_ >= milliseconds(1'000);
            if (trouble.kind != Kind::locked || trouble.isOfConnection || isLong)
                file_.close();
        } catch (...) {
            file_.close();
            throw;
        }
        // SQLite itself does not wait for whoever just changes the kind of the file's journal.
        if (trouble.kind == Kind::locked && !isDamaged && steady_clock::now() < deadline) {
            std::this_thread::sleep_for(milliseconds(1));
            continue;
        }
        bool &may = trouble.kind == Kind::damaged ? mayRecover : mayRepeat;
        if ((trouble.kind != Kind::damaged && trouble.kind != Kind::failed) ||
            !std::exchange(may, false))
            return trouble;
    }
}

/// Whether it was open already.
bool PreferencesDisk::openAndLoad(Moment deadline) {
    if (file_.isOpen())
        return true;
    if (options_.path.empty())
        makePreferencesFolder(path_, options_.isShared);
    try {
        file_.open(path_, deadline);
        ownership_.found(file_.path());
        load(Lists::all);
    } catch (...) { // also where it was held: what was not read whole is not believed
        file_.close();
        throw;
    }
    const bool wasWatched = std::exchange(isWatched_, watch_.watch(path_));
    if (wasWatched && !isWatched_)
        tell("VelmoraKit: the system watches no more files for %@; raise "
             "fs.inotify.max_user_instances, fs.inotify.max_user_watches or the limit "
             "of open files, until then what other processes write there is seen only "
             "at the next start.",
             {path_});
    planMove();
    // Whoever wrote the log may have ended before it was synced. The flush also looks for what was
    // written before it was watched.
    if (!options_.isTool && !file_.log().isEmpty())
        planFlush();
    else
        lookAfterOwnCommits();
    return false;
}

void PreferencesDisk::load(Lists which) {
    PreferencesRows rows;
    file_.load(memory_, rows, which);
    adopt(rows, wasRead_ && which != Lists::all);
    tellUnreadable(rows, path_);
    unreadable_.insert(rows.unreadable.begin(), rows.unreadable.end());
}

void PreferencesDisk::adopt(PreferencesRows &rows, bool isWhole) {
    wasRead_ = true;
    if (handsOut_)
        handOut(rows);
    memory_.adopt(rows, isWhole, differences_);
}

/// Each handover of a watched key once, also if it could not be removed from the file yet.
void PreferencesDisk::handOut(PreferencesRows &rows) {
    std::vector<std::int64_t> found; // ascending, as they are read
    std::vector<PreferencesChange> differences;
    Dictionary last;
    for (PreferencesChange &one : rows.handovers) {
        if (std::ranges::find(options_.watchedKeys, one.key) == options_.watchedKeys.end()) {
            rows.leaveHandover(one.key, *one.number);
            continue;
        }
        found.push_back(*one.number);
        Value &known = last.try_emplace(one.key, memory_.get(one.key)).first->second;
        one.before = std::exchange(known, one.after);
        if (!std::ranges::binary_search(handedOut_, *one.number))
            differences.push_back(std::move(one));
    }
    // All or none, where memory is short.
    differences_.reserve(differences_.size() + differences.size());
    std::ranges::move(differences, std::back_inserter(differences_));
    handedOut_ = std::move(found);
}

void PreferencesDisk::takeHandovers(Moment deadline) {
    handsOut_ = true;
    if (ready(deadline))
        read(Lists::grown);
}

void PreferencesDisk::save(Moment deadline) {
    followLostFile(deadline);
    if (file_.isOpen() && !memory_.hasUnwritten())
        return;
    const bool isDone = use(deadline, [&](bool) { write(); });
    // Where the disk is full, that may make room.
    if (!isDone && !options_.isTool && trouble_.kind == Kind::failed)
        worker_.schedule(PreferencesWorker::Job::checkpoint, PreferencesLog::quietTime);
    else
        planMove();
}

void PreferencesDisk::write() {
    PreferencesMemory::Unwritten unwritten = memory_.unwritten();
    if (unwritten.empty())
        return;
    while (!file_.takeOver(unwritten)) { // another process has written since it was read
        load(Lists::grown);
        unwritten = memory_.unwritten();
    }
    // So that the main run loop does not wake up for this process's own writes. The flush that
    // follows ends the pause and looks for what other processes wrote meanwhile; that is looked for
    // at once when it is likely.
    watch_.pause();
    try {
        if (file_.log().isTooLarge())
            moveLog();
        file_.write(unwritten);
    } catch (const PreferencesTrouble &) {
        watch_.resume();
        throw;
    }
    memory_.written(unwritten);
    planFlush();
    if (file_.hasWaitedForLocks())
        lookAfterOwnCommits();
}

void PreferencesDisk::lookAfterOwnCommits() {
    if (watch_.descriptor() < 0)
        return;
    watch_.resume();
    const PreferencesFile::Foreign foreign = file_.lookForForeignCommits();
    if (foreign == PreferencesFile::Foreign::committed)
        news_.lookAfter = milliseconds(0);
    else if (foreign == PreferencesFile::Foreign::underWay)
        news_.lookAfter = otherWritersTime;
}

void PreferencesDisk::lookForForeignWrites(Moment deadline) {
    followLostFile(deadline);
    if (!ready(deadline))
        return;
    const PreferencesFile::Foreign foreign = file_.lookForForeignCommits();
    if (foreign == PreferencesFile::Foreign::underWay)
        news_.lookAfter = otherWritersTime;
    if (foreign == PreferencesFile::Foreign::committed || readFailed_)
        read(handsOut_ ? Lists::known : Lists::grown);
}

void PreferencesDisk::read(Lists which) {
    const Moment deadline = steady_clock::now() + otherWritersTime;
    readFailed_ = true; // unless it ends, for want of memory
    readFailed_ = !use(deadline, [&](bool wasOpen) {
        if (wasOpen)
            load(which);
    });
    if (readFailed_ && trouble_.kind != Kind::refused)
        news_.lookAfter = trouble_.kind == Kind::locked ? otherWritersTime : timeUntilRetry();
    planMove();
}

void PreferencesDisk::planMove() {
    if (file_.wantsCheckpoint())
        worker_.schedule(PreferencesWorker::Job::checkpoint,
                         file_.log().isLarge() ? milliseconds(0) : PreferencesLog::quietTime);
}

void PreferencesDisk::planFlush() {
    sync_.committed();
    worker_.schedule(PreferencesWorker::Job::flush, flushDelay);
}

milliseconds PreferencesDisk::timeUntilMove() const {
    return PreferencesLog::timeUntilQuiet(steady_clock::now(), file_.log().lastCommit(),
                                          file_.log().isLarge());
}

void PreferencesDisk::moveLog() {
    if (file_.checkpoint())
        return;
    sync_.failed();
    worker_.schedule(PreferencesWorker::Job::flush, sync_.patience());
}

void PreferencesDisk::checkpoint() {
    const Moment deadline = steady_clock::now() + otherWritersTime;
    // What stands in its way is told by who writes.
    if (trouble_.kind != Kind::refused && attempt(deadline, [&] { openAndLoad(deadline); }))
        return;
    if (!file_.wantsCheckpoint())
        return;
    watch_.pause();
    moveLog();
    lookAfterOwnCommits();
}

void PreferencesDisk::note(const PreferencesTrouble &trouble) {
    const bool same = trouble.kind == trouble_.kind;
    const bool wasTroubled = isTroubled();
    // Reading well says nothing about a trouble with writing.
    if (!trouble && memory_.hasUnwritten())
        return;
    trouble_ = trouble;
    if (!trouble) {
        if (wasTroubled)
            tell("VelmoraKit: %@ can be used again.", {path_});
        return;
    }
    if (!same)
        tell("VelmoraKit: %@ %@%@", {path_.empty() ? "the preferences file" : path_, trouble.text,
                                     consequence(trouble.kind, options_.isTool)});
    if (trouble.kind == Kind::refused)
        return;
    const bool locked = trouble.kind == Kind::locked;
    const Moment now = steady_clock::now();
    // However often the host tries meanwhile, the worker's turn comes when it was to come.
    if (!same || now >= retryAt_) {
        const milliseconds most(locked ? 5'000 : 60'000);
        retry_ = same ? std::min(retry_ * 2, most) : milliseconds(locked ? 50 : 1'000);
        retryAt_ = now + retry_;
    }
    worker_.schedule(PreferencesWorker::Job::retry, timeUntilRetry());
}

milliseconds PreferencesDisk::timeUntilRetry() const {
    return std::chrono::ceil<milliseconds>(retryAt_ - steady_clock::now());
}

} // namespace vmr
