#pragma once

#include "platform/FunctionRef.h"

#include <atomic>
#include <chrono>
#include <string>

namespace vmr {

/// Puts on the disk what is in the system's hands. An errno, or 0.
int syncFile(const std::string &path);
void syncFolder(const std::string &path);

/// The same for a file of which the system may have dropped what it could not put there: what can
/// be read is written again. Nobody else writes the file meanwhile.
int syncFileAgain(const std::string &path);

/// Whether a store's log is on the disk. If it is not at the end of the process, it gets there
/// then, unless the process is killed. Safe from any thread.
class PreferencesSync {
public:
    explicit PreferencesSync(const std::string &path);
    ~PreferencesSync();
    PreferencesSync(const PreferencesSync &) = delete;
    PreferencesSync &operator=(const PreferencesSync &) = delete;

    void committed() noexcept { isOwed_.store(true); }
    void failed() noexcept { ++failures_; }
    /// Another file took the place of the one before.
    void movedOn() noexcept { isFolderSynced_.store(false); }
    /// Whether the last try failed, after which `syncFileAgain` is what helps.
    bool hasFailed() const noexcept { return failures_ != 0; }

    /// Syncs the log, or takes what `again` says for it after a failure. An errno, or 0.
    int run(FunctionRef<int()> again);
    /// When a failed one is to be repeated: later each time.
    std::chrono::milliseconds patience() noexcept;

private:
    static void atProcessEnd();

    const std::string log_;
    const std::string folder_;
    std::atomic<bool> isOwed_{false};
    std::atomic<bool> isFolderSynced_{false};
    std::atomic<int> failures_{0};
};

} // namespace vmr
