#include "platform/linux/preferences/PreferencesDisk.h"

#include "platform/Clock.h"
#include "platform/Format.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesInspection.h"
#include "platform/linux/preferences/PreferencesPlace.h"
#include "platform/linux/preferences/PreferencesRecovery.h"

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

std::string consequence(Kind kind, bool isTool) {
    if (isTool) // it ends before it could write what it holds
        return kind == Kind::readOnly ? "; until then nothing is written."
                                      : "; until then nothing is read or written.";
    return kind == Kind::refused ? "; until then nothing is stored, everything stays in memory."
                                 : "; until then everything stays in memory, and is written as "
                                   "soon as that is possible.";
}

} // namespace

PreferencesDisk::PreferencesDisk(const SQLitePreferencesOptions &options, std::string path,
                                 PreferencesMemory &memory, PreferencesOwnership &ownership)
    : options_(options), path_(std::move(path)), memory_(memory), ownership_(ownership),
      file_(options.isTool, ownership) {
    if (options_.loop.watchDescriptor)
        watch_.open();
}

bool PreferencesDisk::ready(Moment deadline) {
    if (file_.isOpen())
        return true;
    if (trouble_.kind == Kind::refused)
        return false;
    PreferencesTrouble trouble = attempt(deadline, [&] { openAndLoad(deadline); });
    if (trouble.kind == Kind::readOnly && !wasRead_) {
        try {
            PreferencesRows rows = readRowsInPlace(resolvedFolder(path_));
            file_.remember(rows);
            adopt(std::move(rows), false);
        } catch (PreferencesTrouble &reading) {
            if (reading.kind == Kind::refused)
                trouble = std::move(reading);
        }
    }
    note(trouble);
    return !trouble;
}

/// What stood in the way in the end; a damaged file is replaced before.
PreferencesTrouble PreferencesDisk::attempt(Moment deadline, const std::function<void()> &work) {
    PreferencesTrouble trouble;
    for (bool again = true; again;) {
        try {
            again = trouble.kind == Kind::damaged;
            if (again)
                recover(trouble.text, deadline);
            work();
            return {};
        } catch (PreferencesTrouble &caught) {
            // SQLite itself does not wait for whoever just changes the kind of the file's journal.
            const bool mayWait = caught.kind == Kind::locked && steady_clock::now() < deadline;
            if (mayWait)
                std::this_thread::sleep_for(milliseconds(1));
            again = mayWait || (!again && caught.kind == Kind::damaged);
            trouble = std::move(caught);
        }
    }
    return trouble;
}

void PreferencesDisk::openAndLoad(Moment deadline) {
    if (file_.isOpen())
        return;
    if (options_.path.empty())
        makePreferencesFolder(path_);
    try {
        file_.open(path_, deadline);
        wasRead_ = false;
        load(Lists::all);
    } catch (const PreferencesTrouble &) {
        file_.close();
        throw;
    }
    if (options_.loop.watchDescriptor && !watch_.watch(path_))
        tell(formatText("Preferences: the system watches no more files for %@; raise "
                        "fs.inotify.max_user_instances, fs.inotify.max_user_watches or the limit "
                        "of open files, until then what other processes write there is seen only "
                        "at the next start.",
                        path_));
    lookAfterOwnCommits(); // for what was written before it was watched
    news_.wantsCheckpoint = file_.wantsCheckpoint();
}

void PreferencesDisk::followLostFile(Moment deadline) {
    using Place = PreferencesFile::Place;
    const Place place = file_.isOpen() ? file_.place() : Place::kept;
    if (place == Place::kept)
        return;
    if (options_.isTool) {
        // What somebody has removed must not come back because somebody else was looking at it.
        file_.close();
        trouble_ = {Kind::refused, "was removed or replaced while in use; start this program anew"};
        return tell(formatText("Preferences: %@ %@.", path_, trouble_.text));
    }
    file_.waitForLocksUntil(deadline);
    try {
        load(Lists::known);                // what others wrote to it last
    } catch (const PreferencesTrouble &) { // as far as can be had
    }
    file_.leave();
    tell(formatText("Preferences: %@ or its log was removed or replaced while in use; what this "
                    "process holds is written there anew. End the program before you move its "
                    "preferences.",
                    path_));
    // The lists are written by the process that works the store.
    const bool withLists = ownership_.isWorker() || !ownership_.worker();
    // Another file's content counts as another program's writes, its lists are added to.
    memory_.writeAnew(place == Place::logLost, withLists);
    ready(deadline);
    memory_.writeAnew(true, withLists);
    news_.movedOn = true;
}

void PreferencesDisk::load(Lists which) {
    PreferencesRows rows;
    file_.load(memory_, rows, which);
    if (handsOut_)
        rows.leaveHandovers(options_.watchedKeys);
    std::set<std::string> unreadable;
    for (std::string &place : rows.unreadable) {
        if (!unreadable_.contains(place))
            tell(formatText("Preferences: the entry \"%@\" of %@ cannot be understood and is left "
                            "alone; write it anew or remove it.",
                            place, path_));
        unreadable.insert(std::move(place));
    }
    unreadable_ = std::move(unreadable);
    adopt(std::move(rows), wasRead_);
}

void PreferencesDisk::adopt(PreferencesRows rows, bool isWhole) {
    wasRead_ = true;
    std::vector<PreferencesChange> differences;
    if (handsOut_)
        differences = newHandovers(std::move(rows.handovers));
    std::vector<PreferencesChange> more = memory_.adopt(rows, isWhole, differences);
    for (std::vector<PreferencesChange> *some : {&differences, &more})
        news_.differences.insert(news_.differences.end(), std::make_move_iterator(some->begin()),
                                 std::make_move_iterator(some->end()));
}

/// Each of them once, also if it could not be removed from the file yet.
std::vector<PreferencesChange>
PreferencesDisk::newHandovers(std::vector<PreferencesChange> handovers) {
    std::set<std::int64_t> found;
    Dictionary last;
    std::erase_if(handovers, [&](PreferencesChange &one) {
        found.insert(*one.number);
        Value &known = last.try_emplace(one.key, memory_.get(one.key)).first->second;
        one.before = std::exchange(known, one.after);
        return handedOut_.contains(*one.number);
    });
    handedOut_ = std::move(found);
    return handovers;
}

void PreferencesDisk::takeHandovers(Moment deadline) {
    handsOut_ = true;
    if (ready(deadline))
        read(Lists::grown);
}

void PreferencesDisk::recover(const std::string &why, Moment deadline) {
    file_.close();
    if (options_.isTool)
        throw PreferencesTrouble{Kind::locked,
                                 why + "; start the application, it sets the file aside"};
    std::string aside;
    PreferencesRows rows;
    {
        // Held while the new file takes the old one's place, so that two processes do not both do
        // it.
        const PreferencesOwnership::Upkeep upkeep(ownership_);
        if (!upkeep && upkeep.error() == 0)
            throw PreferencesTrouble{Kind::locked,
                                     why + ", and another process uses it; end that process"};
        if (!upkeep)
            throw troubleOfErrno(why + ", and the -lock file beside it cannot be used",
                                 upkeep.error());
        aside = setDamagedFileAside(resolvedFolder(path_), options_.clock->now());
        if (aside.empty())
            throw PreferencesTrouble{Kind::refused, why + " and cannot be renamed; move it away"};
        rows = readableRows(aside);
    }
    tell(formatText("Preferences: %@ %@; it was moved to %@, and %lu entries that could still be "
                    "read were carried over.",
                    path_, why, aside, rows.count()));
    // What this process knows is newer. All of it is written into the new file, be it later.
    memory_.writeAnew();
    adopt(std::move(rows), false);
    memory_.writeAnew();
    openAndLoad(deadline);
}

void PreferencesDisk::save(Moment deadline) {
    followLostFile(deadline);
    if (!ready(deadline))
        return;
    if (memory_.unwritten().empty())
        return;
    file_.waitForLocksUntil(deadline);
    note(attempt(deadline, [&] { write(); }));
    news_.wantsCheckpoint = file_.wantsCheckpoint();
}

void PreferencesDisk::write() {
    while (!file_.takeOver()) // another process has written since it was read
        load(Lists::grown);
    const PreferencesMemory::Unwritten unwritten = memory_.unwritten();
    // So that the main run loop does not wake up for this process's own writes. The flush that
    // follows ends the pause and looks for what other processes wrote meanwhile; that is looked for
    // at once when it is likely.
    watch_.pause();
    try {
        file_.write(unwritten);
    } catch (const PreferencesTrouble &) {
        watch_.resume();
        throw;
    }
    memory_.written(unwritten);
    news_.committed = true;
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
    const PreferencesFile::Foreign foreign = file_.lookForForeignCommits();
    if (foreign == PreferencesFile::Foreign::underWay)
        news_.lookAfter = otherWritersTime;
    if (foreign == PreferencesFile::Foreign::committed || readFailed_)
        read(handsOut_ ? Lists::known : Lists::grown);
}

void PreferencesDisk::read(Lists which) {
    const Moment deadline = steady_clock::now() + otherWritersTime;
    file_.waitForLocksUntil(deadline);
    const bool failedBefore =
        std::exchange(readFailed_, true); // unless it ends, for want of memory
    const PreferencesTrouble trouble = attempt(deadline, [&] { load(which); });
    // Reading well says nothing about a trouble with writing.
    if (trouble || failedBefore)
        note(trouble);
    readFailed_ = static_cast<bool>(trouble);
    if (trouble)
        news_.lookAfter = trouble.kind == Kind::locked ? otherWritersTime : news_.retryAfter;
    news_.wantsCheckpoint = file_.wantsCheckpoint();
}

void PreferencesDisk::checkpoint() {
    if (!file_.wantsCheckpoint())
        return;
    watch_.pause();
    file_.checkpoint();
    lookAfterOwnCommits();
}

DiskNews PreferencesDisk::takeNews() {
    news_.logFrames = log().frames();
    return std::exchange(news_, {});
}

void PreferencesDisk::note(const PreferencesTrouble &trouble) {
    const bool same = trouble.kind == trouble_.kind;
    const bool wasTroubled = isTroubled();
    trouble_ = trouble;
    if (!trouble) {
        if (wasTroubled)
            tell(formatText("Preferences: %@ can be used again.", path_));
        return;
    }
    if (!same)
        tell(formatText("Preferences: %@ %@%@", path_.empty() ? "the file" : path_, trouble.text,
                        consequence(trouble.kind, options_.isTool)));
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
    news_.retryAfter = std::chrono::ceil<milliseconds>(retryAt_ - now);
}

} // namespace vmr
