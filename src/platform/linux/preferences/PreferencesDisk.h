#pragma once

#include "platform/Format.h"
#include "platform/FunctionRef.h"
#include "platform/linux/preferences/ForeignWriteWatch.h"
#include "platform/linux/preferences/PreferencesFile.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/PreferencesSync.h"
#include "platform/linux/preferences/PreferencesWorker.h"
#include "platform/linux/preferences/SQLitePreferencesOptions.h"

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr {

/// What came of a turn at the disk, to be seen to once nobody else is kept waiting.
struct DiskNews {
    std::vector<std::string> lines;
    /// When to look for what other processes wrote.
    std::optional<std::chrono::milliseconds> lookAfter;
};

/// Keeps file and memory in step through the file's troubles: opens it when it is first needed,
/// sets a damaged one aside, tells each trouble once and has it tried again. Not safe from several
/// threads at once.
class PreferencesDisk {
public:
    using Moment = PreferencesFile::Moment;

    /// What is given lives longer.
    PreferencesDisk(const SQLitePreferencesOptions &options, const std::string &path,
                    PreferencesMemory &memory, PreferencesOwnership &ownership,
                    PreferencesSync &sync, PreferencesWorker &worker);

    /// Opens and reads the file unless that is done. False while it cannot be used.
    bool ready(Moment deadline);
    /// Writes what the memory has to be written, to what the path leads to now.
    void save(Moment deadline);
    /// Reads what other processes have written since the last look.
    void lookForForeignWrites(Moment deadline);
    /// From now on what others hand over to the process in charge of the store is among the
    /// differences.
    void takeHandovers(Moment deadline);
    /// Of the file, and what is beside it; see SQLitePreferences.
    bool erase(std::span<const std::string_view> keys, Moment deadline);
    /// Also of one with a point and an addition.
    static bool isOneOf(std::span<const std::string_view> keys, std::string_view stored);
    /// Finds out whether other processes have written while this one did.
    void lookAfterOwnCommits();
    void checkpoint();
    /// How long the log is not to be moved yet.
    std::chrono::milliseconds timeUntilMove() const;
    /// How long it is until what failed is to be tried again.
    std::chrono::milliseconds timeUntilRetry() const;
    /// Syncs a log of which the system may have dropped something. An errno, or 0.
    int syncLogAgain() { return file_.syncLogAgain(); }
    /// Whether the last attempt failed, so that a new one is not worth waiting for.
    bool isTroubled() const noexcept { return static_cast<bool>(trouble_); }
    /// Whether somebody else has held the file ever since it was to be read.
    bool isWithheld() const noexcept {
        return !wasRead_ && trouble_.kind == PreferencesTrouble::Kind::locked;
    }
    const PreferencesTrouble &trouble() const noexcept { return trouble_; }
    ForeignWriteWatch &watch() noexcept { return watch_; }
    /// What came of all that since the last time.
    DiskNews takeNews() { return std::exchange(news_, {}); }
    /// What the memory took over from the file, and what was handed over.
    bool hasDifferences() const noexcept { return !differences_.empty(); }
    std::vector<PreferencesChange> takeDifferences() { return std::exchange(differences_, {}); }

private:
    using Lists = PreferencesFile::Lists;

    PreferencesTrouble attempt(Moment deadline, FunctionRef<void()> work);
    bool use(Moment deadline, FunctionRef<void(bool wasOpen)> work);
    bool openAndLoad(Moment deadline);
    void load(Lists which);
    void read(Lists which);
    void handOut(PreferencesRows &rows);
    void recover(const std::string &why, Moment deadline);
    void replaceFile(const std::string &path, PreferencesRows &rows, Moment deadline);
    void tellUnreadable(const PreferencesRows &rows, const std::string &path);
    void followLostFile(Moment deadline);
    void adopt(PreferencesRows &rows, bool isWhole);
    void note(const PreferencesTrouble &trouble);
    void planMove();
    void planFlush();
    void moveLog();
    void write();
    void tell(std::string_view text, std::initializer_list<FormatArgument> arguments) {
        news_.lines.push_back(formatArguments(text, arguments));
    }

    const SQLitePreferencesOptions &options_;
    const std::string &path_;
    PreferencesMemory &memory_;
    PreferencesOwnership &ownership_;
    PreferencesSync &sync_;
    PreferencesWorker &worker_;
    PreferencesFile file_;
    ForeignWriteWatch watch_;
    DiskNews news_;
    std::vector<PreferencesChange> differences_;
    PreferencesTrouble trouble_;
    bool isWatched_ = true; // else a line has said so
    bool wasRead_ = false;
    bool readFailed_ = false;
    bool handsOut_ = false;
    /// The handovers in the file that were differences already, in ascending order.
    std::vector<std::int64_t> handedOut_;
    std::set<std::string> unreadable_;
    std::chrono::milliseconds retry_{0};
    Moment retryAt_;
};

} // namespace vmr
