#include "platform/linux/preferences/PreferencesDisk.h"

#include "platform/Clock.h"
#include "platform/Format.h"
#include "platform/Preferences.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesOwnership.h"
#include "platform/linux/preferences/PreferencesPlace.h"
#include "platform/linux/preferences/PreferencesReading.h"
#include "platform/linux/preferences/PreferencesRecovery.h"

#include <algorithm>
#include <cerrno>
#include <map>
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

PreferencesDisk::PreferencesDisk(const SQLitePreferencesOptions &options, std::string path)
    : options_(options), path_(std::move(path)), file_(options.isTool) {
    if (options_.loop.watchDescriptor)
        watch_.open();
}

bool PreferencesDisk::ready(Moment deadline, DiskNews &news) {
    if (file_.isOpen())
        return true;
    if (trouble_.kind == Kind::refused)
        return false;
    PreferencesTrouble trouble = openAndLoad(deadline, news);
    if (trouble.kind == Kind::damaged)
        trouble = recover(trouble.text, deadline, news);
    if (trouble.kind == Kind::readOnly && !wasRead_) {
        PreferencesTrouble reading = readRowsInPlace(resolvedFolder(path_), news.changes);
        wasRead_ = !reading;
        if (reading.kind == Kind::refused)
            trouble = std::move(reading);
    }
    note(trouble, news);
    wasRead_ = wasRead_ || !trouble;
    return !trouble;
}

PreferencesTrouble PreferencesDisk::openAndLoad(Moment deadline, DiskNews &news) {
    if (options_.path.empty()) {
        if (PreferencesTrouble trouble = makePreferencesFolder(path_))
            return trouble;
    }
    if (PreferencesTrouble trouble = file_.open(path_, deadline))
        return trouble;
    if (PreferencesTrouble trouble = load(news)) {
        file_.close();
        return trouble;
    }
    if (file_.isOwnedElsewhere())
        news.lines.push_back(formatText(
            "Preferences: another process, or another copy of the library in this one, runs "
            "the SDK with %@ already, and each writes its own list of events over the "
            "other's; start the application once, or give each a store of its own.",
            path_));
    if (options_.loop.watchDescriptor && !watch_.watch(path_))
        news.lines.push_back(
            formatText("Preferences: the system watches no more files for %@; raise "
                       "fs.inotify.max_user_instances, fs.inotify.max_user_watches or "
                       "the limit of open files, until then what other processes "
                       "write there is seen only at the next start.",
                       path_));
    lookAfterOwnCommits(news); // for what was written before it was watched
    news.wantsCheckpoint = file_.wantsCheckpoint();
    return {};
}

PreferencesFile::Place PreferencesDisk::leaveLostFile(Moment deadline, DiskNews &news) {
    using Place = PreferencesFile::Place;
    const Place place = file_.isOpen() ? file_.place() : Place::kept;
    if (place == Place::kept)
        return place;
    if (options_.isTool) {
        // What somebody has removed must not come back because somebody else was looking at it.
        file_.close();
        trouble_ = {Kind::refused, "was removed or replaced while in use; start this program anew"};
        news.lines.push_back(formatText("Preferences: %@ %@.", path_, trouble_.text));
        return Place::kept;
    }
    file_.waitForLocksUntil(deadline);
    static_cast<void>(load(news)); // what others wrote to it last, as far as it can be had
    file_.leave();
    news.lines.push_back(formatText(
        "Preferences: %@ or its log was removed or replaced while in use; what this process "
        "holds is written there anew. End the program before you move its preferences.",
        path_));
    return place;
}

PreferencesTrouble PreferencesDisk::load(DiskNews &news) {
    std::vector<std::string> unreadable;
    const PreferencesTrouble trouble = file_.load(news.changes, unreadable);
    for (const std::string &key : unreadable)
        news.lines.push_back(
            formatText("Preferences: the entry \"%@\" of %@ cannot be understood and "
                       "is left alone; write it anew or remove it.",
                       key, path_));
    return trouble;
}

PreferencesTrouble PreferencesDisk::recover(const std::string &why, Moment deadline,
                                            DiskNews &news) {
    const std::vector<PreferencesChange> known = file_.knownRows();
    file_.close();
    news.changes.clear();
    if (options_.isTool)
        return {Kind::locked, why + "; start the application, it sets the file aside"};
    // Held while the new file takes the old one's place, so that two processes do not both do it.
    PreferencesOwnership owner;
    const std::string path = resolvedFolder(path_);
    if (!owner.take(path)) {
        const int error = errno;
        if (owner.isElsewhere())
            return {Kind::locked, why + ", and another process uses it; end that process"};
        return troubleOfErrno(why + ", and the -lock file beside it cannot be used", error);
    }
    const Date now = options_.clock->now();
    const std::string aside = setDamagedFileAside(path, now);
    if (aside.empty())
        return {Kind::refused, why + " and cannot be renamed; move it away"};
    std::vector<PreferencesChange> rows = readableRows(aside);
    rows.insert(rows.end(), known.begin(), known.end());
    owner.giveUp();
    news.lines.push_back(
        formatText("Preferences: %@ %@; it was moved to %@, and %lu entries that could "
                   "still be read were carried over.",
                   path_, why, aside, rows.size() - known.size()));
    PreferencesTrouble trouble = openAndLoad(deadline, news);
    // Handed over even if the new file cannot be had yet; what stands there already goes last.
    rows.insert(rows.end(), news.changes.cbegin(), news.changes.cend());
    news.changes = std::move(rows);
    news.recovered = true;
    return trouble;
}

bool PreferencesDisk::save(const PreferencesMemory::Unwritten &unwritten, Moment deadline,
                           DiskNews &news) {
    const bool wasRead = wasRead_;
    if (!ready(deadline, news))
        return false;
    if (!wasRead)
        keepUnread(unwritten.changes, news);
    if (unwritten.changes.empty())
        return true;
    std::vector<PreferencesChange> changes = kept_;
    changes.insert(changes.end(), unwritten.changes.begin(), unwritten.changes.end());
    file_.waitForLocksUntil(deadline);
    PreferencesTrouble trouble = write(changes, news);
    if (trouble.kind == Kind::damaged) {
        trouble = recover(trouble.text, deadline, news);
        if (!trouble)
            trouble = write(changes, news);
    }
    note(trouble, news);
    if (trouble) {
        news.committed = false;
        return false;
    }
    kept_.clear();
    news.wantsCheckpoint = file_.wantsCheckpoint();
    return true;
}

/// A program that started while the file was held has begun its lists anew. What they hold in the
/// file must not be gone when they are written.
void PreferencesDisk::keepUnread(const std::vector<PreferencesChange> &changes, DiskNews &news) {
    std::map<std::string, PreferencesColumn> rows;
    for (const auto &[key, column] : news.changes) {
        if (column)
            rows.insert_or_assign(key, *column);
    }
    for (const auto &[key, column] : changes) {
        const auto found = rows.find(key);
        if (found == rows.end() || found->second.value().type() != Value::Type::data ||
            (column && *column == found->second))
            continue;
        std::string keptKey = unreadKey(key, 1);
        for (int number = 2; rows.contains(keptKey); ++number)
            keptKey = unreadKey(key, number);
        kept_.push_back({keptKey, found->second});
        news.lines.push_back(
            formatText("Preferences: \"%@\" was set anew before %@ could be read; what "
                       "it held there is kept under \"%@\".",
                       key, path_, keptKey));
    }
    news.changes.insert(news.changes.end(), kept_.cbegin(), kept_.cend());
}

PreferencesTrouble PreferencesDisk::write(const std::vector<PreferencesChange> &changes,
                                          DiskNews &news) {
    // So that the main run loop does not wake up for this process's own writes. The flush that
    // follows ends the pause and looks for what other processes wrote meanwhile; that is looked for
    // at once when it is likely.
    watch_.pause();
    const PreferencesTrouble trouble = file_.write(changes, news.committed);
    if (trouble || !news.committed)
        watch_.resume();
    else if (file_.hasWaitedForLocks())
        lookAfterOwnCommits(news);
    return trouble;
}

void PreferencesDisk::lookAfterOwnCommits(DiskNews &news) {
    if (watch_.descriptor() < 0)
        return;
    watch_.resume();
    const PreferencesFile::Foreign foreign = file_.lookForForeignCommits();
    if (foreign == PreferencesFile::Foreign::committed)
        news.lookAfter = milliseconds(0);
    else if (foreign == PreferencesFile::Foreign::underWay)
        news.lookAfter = otherWritersTime;
}

void PreferencesDisk::lookForForeignWrites(DiskNews &news) {
    if (!file_.isOpen())
        return;
    const PreferencesFile::Foreign foreign = file_.lookForForeignCommits();
    if (foreign == PreferencesFile::Foreign::underWay)
        news.lookAfter = otherWritersTime;
    if (foreign != PreferencesFile::Foreign::committed)
        return;
    file_.waitForLocksUntil(steady_clock::now() + otherWritersTime);
    PreferencesTrouble trouble = load(news);
    if (trouble.kind == Kind::damaged)
        trouble = recover(trouble.text, steady_clock::now() + otherWritersTime, news);
    // Reading well says nothing about a trouble with writing.
    if (trouble || readFailed_)
        note(trouble, news);
    readFailed_ = static_cast<bool>(trouble);
    if (trouble)
        news.lookAfter = trouble.kind == Kind::locked ? otherWritersTime : news.retryAfter;
    news.wantsCheckpoint = file_.wantsCheckpoint();
}

void PreferencesDisk::checkpoint(DiskNews &news) {
    if (!file_.wantsCheckpoint())
        return;
    watch_.pause();
    file_.checkpoint();
    lookAfterOwnCommits(news);
}

void PreferencesDisk::note(const PreferencesTrouble &trouble, DiskNews &news) {
    const bool same = trouble.kind == trouble_.kind;
    const bool wasTroubled = isTroubled();
    trouble_ = trouble;
    if (!trouble) {
        if (wasTroubled)
            news.lines.push_back(formatText("Preferences: %@ can be used again.", path_));
        return;
    }
    if (!same)
        news.lines.push_back(formatText("Preferences: %@ %@%@", path_.empty() ? "the file" : path_,
                                        trouble.text, consequence(trouble.kind, options_.isTool)));
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
    news.retryAfter = std::chrono::ceil<milliseconds>(retryAt_ - now);
}

} // namespace vmr
