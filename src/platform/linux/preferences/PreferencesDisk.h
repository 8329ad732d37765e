#pragma once

#include "platform/linux/preferences/ForeignWriteWatch.h"
#include "platform/linux/preferences/PreferencesFile.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/SQLitePreferencesOptions.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace vmr {

/// What came of a turn at the disk, to be seen to once nobody else is kept waiting.
struct DiskNews {
    std::vector<std::string> lines;
    /// What was read that the memory may not have.
    std::vector<PreferencesChange> changes;
    /// These come from a damaged file, and do not stand in the one that took its place.
    bool recovered = false;
    bool committed = false;
    bool wantsCheckpoint = false;
    /// When to look for what other processes wrote, and when to try again.
    std::optional<std::chrono::milliseconds> lookAfter;
    std::optional<std::chrono::milliseconds> retryAfter;
};

/// The preferences file through its troubles: opens it when it is first needed, sets a damaged one
/// aside, tells each trouble once and says when to try again. Not safe from several threads at
/// once.
class PreferencesDisk {
public:
    using Moment = PreferencesFile::Moment;

    explicit PreferencesDisk(const SQLitePreferencesOptions &options, std::string path);

    /// Opens and reads the file unless that is done. False while it cannot be used.
    bool ready(Moment deadline, DiskNews &news);
    /// True when everything stands in the file.
    bool save(const PreferencesMemory::Unwritten &unwritten, Moment deadline, DiskNews &news);
    /// Leaves a file that was removed or replaced, so that `ready` opens what its path leads to
    /// now; `logLost` tells that memory knows better than that file.
    PreferencesFile::Place leaveLostFile(Moment deadline, DiskNews &news);
    /// Reads what other processes have written since the last look.
    void lookForForeignWrites(DiskNews &news);
    /// Finds out whether other processes have written while this one did.
    void lookAfterOwnCommits(DiskNews &news);
    void checkpoint(DiskNews &news);
    int logFrames() const noexcept { return file_.log().frames(); }
    /// Whether the last attempt failed, so that a new one is not worth waiting for.
    bool isTroubled() const noexcept { return static_cast<bool>(trouble_); }
    const PreferencesTrouble &trouble() const noexcept { return trouble_; }
    ForeignWriteWatch &watch() noexcept { return watch_; }

private:
    PreferencesTrouble openAndLoad(Moment deadline, DiskNews &news);
    PreferencesTrouble load(DiskNews &news);
    PreferencesTrouble recover(const std::string &why, Moment deadline, DiskNews &news);
    void note(const PreferencesTrouble &trouble, DiskNews &news);
    PreferencesTrouble write(const std::vector<PreferencesChange> &changes, DiskNews &news);
    void keepUnread(const std::vector<PreferencesChange> &changes, DiskNews &news);

    const SQLitePreferencesOptions options_;
    const std::string path_;
    PreferencesFile file_;
    ForeignWriteWatch watch_;
    PreferencesTrouble trouble_;
    bool wasRead_ = false;
    bool readFailed_ = false;
    /// What `keepUnread` found, until it stands in the file under its new keys.
    std::vector<PreferencesChange> kept_;
    std::chrono::milliseconds retry_{0};
    Moment retryAt_;
};

} // namespace vmr
