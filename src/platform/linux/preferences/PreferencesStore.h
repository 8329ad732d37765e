#pragma once

#include "platform/linux/preferences/Gated.h"
#include "platform/linux/preferences/PreferencesDisk.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/PreferencesWorker.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vmr {

/// Memory, disk and the thread behind them, put together. Safe from any thread; in a forked child
/// `memory` is all that may be used. Lines are written, and `onForeign` is called, without any
/// lock.
class PreferencesStore : public std::enable_shared_from_this<PreferencesStore> {
public:
    using Differences = std::vector<PreferencesDifference>;

    /// `onForeign` is told on the main run loop what other processes changed.
    PreferencesStore(SQLitePreferencesOptions options,
                     std::function<void(const Differences &)> onForeign);
    ~PreferencesStore();

    const std::string &path() const noexcept { return path_; }
    /// Why the last use of the file failed, if it did.
    PreferencesTrouble trouble();
    PreferencesMemory &memory() noexcept { return memory_; }
    const PreferencesMemory &memory() const noexcept { return memory_; }

    /// Opens and reads the file the first time.
    void load();
    /// Writes what is unwritten, or leaves it to the worker when the file is not to be had in time.
    void save();
    /// False when something could not be made durable within that time.
    bool synchronize(std::chrono::milliseconds patience);
    /// Ends the thread and what the main run loop does; writes what is left.
    void close();

private:
    using Disk = Gated<PreferencesDisk>;
    using Moment = Disk::Moment;

    void saveUntil(Moment deadline);
    /// Goes on with what the path leads to now when the file was removed or replaced.
    void followFile(PreferencesDisk &disk, Moment deadline, DiskNews &news, Differences &found);
    void adopt(DiskNews &news, Differences &found);
    void finish(DiskNews &news);
    void flush();
    void checkpoint();
    void moveLog(Disk::Access disk);
    void lookForForeignWrites();
    void lookLater(std::chrono::milliseconds delay);
    void work(PreferencesWorker::Job job);
    bool flushLog();

    const SQLitePreferencesOptions options_;
    const std::string path_;
    const std::chrono::milliseconds patience_;
    const std::function<void(const Differences &)> onForeign_;
    PreferencesMemory memory_;
    Disk disk_;
    const std::shared_ptr<PreferencesWorker> worker_;
    std::atomic<bool> loaded_{false};
    std::atomic<bool> watching_{false};
    std::atomic<bool> looking_{false};
    std::atomic<bool> folderFlushed_{false};
    std::atomic<bool> troubled_{false};
    std::atomic<bool> saidUnsynced_{false};
    std::atomic<Moment> lastCommit_{Moment()};
};

} // namespace vmr
