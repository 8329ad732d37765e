#include "platform/linux/preferences/PreferencesDisk.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesRecovery.h"

#include <algorithm>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

constexpr std::size_t unreadableNamed = 10;

} // namespace

void PreferencesDisk::followLostFile(Moment deadline) {
    using Place = PreferencesFile::Place;
    const Place place = file_.isOpen() ? file_.place() : Place::kept;
    if (place == Place::kept)
        return;
    if (options_.isTool) {
        // What somebody has removed must not come back because somebody else was looking at it.
        file_.close();
        trouble_ = {Kind::refused, "was removed or replaced while in use; restart this program"};
        return tell("VelmoraKit: %@ %@.", {path_, trouble_.text});
    }
    file_.waitForLocksUntil(deadline);
    try {
        load(Lists::known);                // what others wrote to it last
    } catch (const PreferencesTrouble &) { // as far as can be had
    }
    file_.leave();
    tell("VelmoraKit: %@ or its log was removed or replaced while in use; what this "
         "process holds is written there again. End the program before you move its "
         "preferences.",
         {path_});
    // The lists are written by the process in charge of the store.
    const bool withLists = ownership_.isWorker() || !ownership_.worker();
    // Another file's content counts as another program's writes, its lists are added to.
    memory_.writeAnew(place == Place::logLost, withLists);
    ready(deadline);
    memory_.writeAnew(true, withLists);
    sync_.movedOn();
}

void PreferencesDisk::recover(const std::string &why, Moment deadline) {
    file_.close();
    if (options_.isTool)
        fail(Kind::locked, "%@; start the application, it sets the file aside", {why});
    // Held while the new file takes the old one's place, so that two processes do not both do it.
    const PreferencesOwnership::Upkeep upkeep(ownership_);
    if (!upkeep && upkeep.error() == 0)
        fail(Kind::locked, "%@, and another process uses it; end that process", {why});
    if (!upkeep)
        failWith(upkeep.error(), "%@, and the -lock file beside it cannot be used", {why});
    const std::string path = resolvedFolder(path_);
    PreferencesRows rows = readableRows(setDamagedFileAside(path), options_.isShared);
    const std::size_t count = rows.count();
    if (!hasSuccessor(path))
        replaceFile(path, rows, deadline);
    const std::string kept = keepDamagedFile(path);
    tell("VelmoraKit: %@ %@; it was moved to %@, and %lu entries that could still be "
         "read were carried over.",
         {path_, why, kept, count});
    tellUnreadable(rows, kept);
}

/// Makes the file of what could be read of the damaged one. What this process knows is newer.
void PreferencesDisk::replaceFile(const std::string &path, PreferencesRows &rows, Moment deadline) {
    PreferencesMemory::Unwritten known;
    if (wasRead_) {
        known = memory_.unwritten();
        for (const std::string &key : memory_.keys())
            known.changes.try_emplace(key, memory_.get(key));
    }
    const std::string fresh = placeForNewFile(path);
    PreferencesFile file(true, options_.isShared, ownership_);
    file.open(fresh, deadline);
    file.write({std::move(rows.entries), std::move(rows.handovers), {}});
    file.write(known);
    file.settle();
    putNewFileInPlace(fresh, path);
    memory_.written(known);
    sync_.movedOn();
}

void PreferencesDisk::tellUnreadable(const PreferencesRows &rows, const std::string &path) {
    std::size_t count = 0;
    for (const std::string &place : rows.unreadable) {
        if (!unreadable_.contains(place) && ++count <= unreadableNamed)
            tell("VelmoraKit: the entry \"%@\" of %@ cannot be understood and is left "
                 "alone; write it again or remove it.",
                 {place, path});
    }
    if (count > unreadableNamed)
        tell("VelmoraKit: %lu more entries of %@ cannot be understood and are left "
             "alone.",
             {count - unreadableNamed, path});
}

bool PreferencesDisk::isOneOf(std::span<const std::string_view> keys, std::string_view stored) {
    return std::find(keys.begin(), keys.end(), stored.substr(0, stored.find('.'))) != keys.end();
}

bool PreferencesDisk::erase(std::span<const std::string_view> keys, Moment deadline) {
    handsOut_ = false;
    followLostFile(deadline);
    return use(deadline, [&](bool) {
        while (!file_.takeOver({}))
            load(Lists::grown);
        for (const std::string &stored : memory_.keys()) // also what was only read just now
            if (isOneOf(keys, stored))
                memory_.put(stored, Value());
        const PreferencesMemory::Unwritten unwritten = memory_.unwritten();
        file_.erase(unwritten, keys);
        memory_.written(unwritten);
        eraseDamagedFiles(resolvedFolder(path_));
    });
}

} // namespace vmr
