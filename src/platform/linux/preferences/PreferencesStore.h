#pragma once

#include "platform/Preferences.h"
#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/Gated.h"
#include "platform/linux/preferences/PreferencesDisk.h"
#include "platform/linux/preferences/PreferencesInspection.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/PreferencesOwnership.h"
#include "platform/linux/preferences/PreferencesSync.h"
#include "platform/linux/preferences/PreferencesWorker.h"

#include <atomic>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr {

/// Memory, disk and the thread behind them, put together. Safe from any thread; in a forked child
/// `memory` is all that may be used. Lines are written, and `onForeign` is called, without any
/// lock.
class PreferencesStore : public std::enable_shared_from_this<PreferencesStore> {
public:
    using Differences = std::vector<PreferencesChange>;
    using Handovers = std::vector<std::pair<std::string, Value>>;
    using Observe = std::function<void(const PreferencesChange &)>;
    using Moment = std::chrono::steady_clock::time_point;

    /// `onForeign` is told on the main run loop what other processes changed.
    PreferencesStore(SQLitePreferencesOptions options, Observe onForeign);
    ~PreferencesStore();

    /// A thread's turn at the store: what it puts into the memory while the turn lasts is written
    /// at its end as one transaction. Turns of a thread nest, and the outermost counts; another
    /// thread's waits for it, but not long.
    class Turn final : public Preferences::Transaction {
    public:
        explicit Turn(PreferencesStore &store);
        /// `endPatience`: how long the end waits for the file at least.
        Turn(PreferencesStore &store, Moment deadline,
             std::chrono::milliseconds endPatience = std::chrono::milliseconds(0));
        ~Turn() override;

    private:
        friend class PreferencesStore;
        static thread_local Turn *innermost;

        PreferencesStore &store_;
        Turn *const outer_;
        /// This thread's turn at the same store that this one is a part of.
        Turn *const whole_;
        Gated<PreferencesDisk>::Access disk_;
        /// How long the end may still wait for the file.
        std::chrono::milliseconds patience_;
    };

    const std::string &path() const noexcept { return path_; }
    /// Why the last use of the file failed, if it did.
    PreferencesTrouble trouble();
    PreferencesInspection inspect();
    PreferencesMemory &memory() noexcept { return memory_; }
    const PreferencesMemory &memory() const noexcept { return memory_; }

    /// Opens and reads the file the first time.
    void load();
    /// False when something could not be made durable within that time.
    bool synchronize(std::chrono::milliseconds patience);
    /// Ends the thread and what the main run loop does; writes what is left.
    void close();

    /// Takes charge of the store for this process, and calls `start` within a turn: at once, or,
    /// where another one is in charge, on the main run loop as soon as that has ended.
    void work(std::function<void()> start);
    /// Whether this process is still to take charge of the store.
    bool isWaiting() const noexcept { return waiting_.load(std::memory_order_relaxed); }
    /// Hands out what others have handed over to the process in charge of the store, and what comes
    /// later as differences. Where nothing is thrown it is handled. Within `start`.
    void seeToHandovers(const std::function<void(const Handovers &)> &see);
    std::optional<bool> takeWork();
    /// Within a turn; see SQLitePreferences.
    bool erase(std::span<const std::string_view> keys, std::chrono::milliseconds patience);

private:
    using Disk = Gated<PreferencesDisk>;

    /// The work as a function of the main run loop's, which may outlive this object.
    std::function<void()> whileAlive(void (PreferencesStore::*call)());
    void later(std::chrono::milliseconds delay, void (PreferencesStore::*call)());
    Turn *ownTurn();
    Moment hostDeadline() const;
    void save(PreferencesDisk &disk, Moment deadline);
    void end(Turn &turn);
    void finish(const DiskNews &news);
    void notifyLater(DiskNews &news);
    void notify(const Differences &differences);
    void flush();
    void checkpoint();
    void lookForForeignWrites();
    void lookLater(std::chrono::milliseconds delay);
    void lookNow();
    void work(PreferencesWorker::Job job);
    bool flushLog(PreferencesDisk *held = nullptr);
    void moveLog(Disk::Access disk);
    void startIfPossible();
    void start();
    void watchWorker(std::optional<pid_t> worker);
    void lookForRival();

    const SQLitePreferencesOptions options_;
    const std::string path_;
    const std::chrono::milliseconds patience_;
    const Observe onForeign_;
    PreferencesMemory memory_;
    PreferencesOwnership ownership_;
    Disk disk_;
    PreferencesSync sync_;
    const std::shared_ptr<PreferencesWorker> background_;
    /// Written before `loaded_` says so.
    int watched_ = -1;
    std::atomic<bool> loaded_{false};
    std::atomic<bool> looking_{false};
    std::atomic<bool> troubled_{false};
    std::atomic<bool> saidUnsynced_{false};
    std::atomic<bool> waiting_{false};
    std::atomic<Moment> lastCommit_{Moment()};
    // The main run loop's own.
    std::vector<std::function<void()>> starts_;
    /// The process in charge that this one waits for.
    std::optional<pid_t> worker_;
    OwnedDescriptor workerProcess_;
    bool saidRival_ = false;
};

} // namespace vmr
