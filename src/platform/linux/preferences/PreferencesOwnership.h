#pragma once

#include "platform/Mutex.h"
#include "platform/linux/OwnedDescriptor.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace vmr {

/// Which one of the processes that use a preferences file works it, and which one is just moving
/// its log or replacing it: locks on the file "-lock" beside it. They belong to the process: a
/// forked child does not have them, and they go when the process ends, however it ends. Safe from
/// any thread.
class PreferencesOwnership {
public:
    /// `path` leads to the preferences file.
    explicit PreferencesOwnership(std::string path) : path_(std::move(path)) {}
    ~PreferencesOwnership();

    /// Where that is without links, for whoever has followed them.
    void found(const std::string &path);

    /// Takes the work, or keeps it. False when another process, or another copy of the library in
    /// this one, has it; nothing when the file cannot be opened just now. Beside a store that is
    /// refused no file is made.
    std::optional<bool> takeWork(bool isRefused = false);
    bool isWorker() const;
    /// Leaves it to whoever waits for it.
    void leaveWork();
    /// Which process has the work; nothing when none has.
    std::optional<pid_t> worker();
    /// Who works it as well as this one, which is possible where somebody has removed the file.
    std::optional<pid_t> rival();

    /// The right to move the log or replace the file, for as long as this lives: nobody else's
    /// meanwhile, and never that of one beside the worker.
    class Upkeep {
    public:
        explicit Upkeep(PreferencesOwnership &ownership);
        ~Upkeep();
        Upkeep(const Upkeep &) = delete;
        Upkeep &operator=(const Upkeep &) = delete;
        explicit operator bool() const noexcept { return taken_; }
        /// Why not: an errno, or 0 where another process stands in the way.
        int error() const noexcept { return error_; }

    private:
        PreferencesOwnership &ownership_;
        bool taken_ = false;
        int error_ = 0;
    };

private:
    bool open(int flags) VMR_REQUIRES(mutex_);
    void replaceFile(OwnedDescriptor file) VMR_REQUIRES(mutex_);
    std::optional<pid_t> holder(off_t what) VMR_REQUIRES(mutex_);
    bool take(off_t what) VMR_REQUIRES(mutex_);

    const std::string path_;
    mutable Mutex mutex_;
    std::string lockPath_ VMR_GUARDED_BY(mutex_);
    OwnedDescriptor file_ VMR_GUARDED_BY(mutex_);
    bool isWorker_ VMR_GUARDED_BY(mutex_) = false;
    bool isShared_ VMR_GUARDED_BY(mutex_) = false;
    bool hasRival_ VMR_GUARDED_BY(mutex_) = false;
    int error_ VMR_GUARDED_BY(mutex_) = 0;
};

} // namespace vmr
