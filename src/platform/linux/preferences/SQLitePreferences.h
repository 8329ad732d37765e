#pragma once

#include "platform/Preferences.h"
#include "platform/PreferencesObservers.h"
#include "platform/SystemLog.h"
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
#include <vector>

namespace vmr {

/// The preferences in one SQLite file, which is opened at the first use; docs/storage.md describes
/// it. A store that cannot be opened or written leaves everything in memory and a line in the log.
/// In a forked child the file is never touched: reads give what was in memory, writes change the
/// child's memory alone, and nobody observes. Lines are written, and observers called, without any
/// lock.
class SQLitePreferences final : public Preferences,
                                public std::enable_shared_from_this<SQLitePreferences> {
public:
    /// One that a forked child leaves as it is: its thread does not exist there, its locks do.
    static std::shared_ptr<SQLitePreferences> make(SQLitePreferencesOptions options);
    ~SQLitePreferences();
    SQLitePreferences(const SQLitePreferences &) = delete;
    SQLitePreferences &operator=(const SQLitePreferences &) = delete;

    Value objectForKey(std::string_view key) const override;
    void setObject(const Value &value, std::string_view key) override;
    void removeObjectForKey(std::string_view key) override;
    std::unique_ptr<Transaction> transaction() override;
    std::vector<std::string> keys() const override;
    /// Waits for the disk, on the calling thread.
    bool synchronizeWithin(std::chrono::milliseconds patience) override;
    void addObserver(std::weak_ptr<KeyValueObserver> observer, std::string_view keyPath,
                     void *context) override;
    void removeObserver(const KeyValueObserver *observer, std::string_view keyPath) override;

    /// The file in use, named before it is opened; empty where there is no place for one.
    const std::string &path() const noexcept { return path_; }
    /// Why this process could not use the file the last time, if so.
    PreferencesTrouble trouble();
    /// The reason why it cannot be used, if so, and who works it.
    PreferencesInspection inspect();

    /// Takes charge of this store for this process, and calls `start` within a transaction: at
    /// once, or, where another process is in charge, on the main run loop once that has ended.
    /// Until then what is set here under the keys that the SDK watches is handed over to that one.
    void work(std::function<void()> start);
    using Changes = std::vector<PreferencesChange>;
    /// Within `start`: hands out what other processes have handed over to the one in charge of the
    /// store, oldest first; where nothing is thrown it is handled. What comes later arrives as
    /// changes.
    void seeToHandovers(FunctionRef<void(const Changes &)> see);
    /// Whether this process is in charge of the store, which it is from now on where no other is;
    /// nothing where that cannot be told now.
    std::optional<bool> takeWork();
    /// Removes what these keys hold, and the same keys with a point and an addition; all lists of
    /// records, handovers, and files that were set aside as damaged; and overwrites it. The process
    /// is in charge of the store no longer. False where some of it is still there.
    bool erase(std::span<const std::string_view> keys);

private:
    using Disk = Gated<PreferencesDisk>;
    using Moment = std::chrono::steady_clock::time_point;

    /// A thread's turn at the store: what it puts into the memory while the turn lasts is written
    /// at its end as one transaction. Turns of a thread nest, and the outermost counts; another
    /// thread's waits for it, but not long.
    class Turn final : public Transaction {
    public:
        explicit Turn(SQLitePreferences &store);
        /// `endPatience`: how long the end waits for the file at least.
        Turn(SQLitePreferences &store, Moment deadline,
             std::chrono::milliseconds endPatience = std::chrono::milliseconds(0));
        ~Turn() override;

    private:
        friend class SQLitePreferences;
        static thread_local Turn *innermost;

        SQLitePreferences &store_;
        Turn *const outer_;
        /// This thread's turn at the same store that this one is a part of.
        Turn *const whole_;
        Gated<PreferencesDisk>::Access disk_;
        /// How long the end may still wait for the file.
        std::chrono::milliseconds patience_;
        /// Whether the end also waits for the disk.
        bool isSynced_ = false;
    };

    explicit SQLitePreferences(SQLitePreferencesOptions &&options);
    /// Opens and reads the file the first time.
    void load();
    /// With what the file holds, but in a forked child.
    PreferencesMemory &memory() const;
    bool isWaiting() const noexcept { return waiting_.load(std::memory_order_relaxed); }
    /// The work as a function of the main run loop's, which may outlive this object.
    std::function<void()> whileAlive(void (SQLitePreferences::*call)());
    void later(std::chrono::milliseconds delay, void (SQLitePreferences::*call)());
    Turn *ownTurn();
    PreferencesDisk *heldDisk();
    Moment hostDeadline() const;
    void end(Turn &turn);
    void leave(Disk::Access &disk);
    void finish(const DiskNews &news);
    void say(std::string_view text, std::initializer_list<FormatArgument> arguments,
             LogLevel level = LogLevel::warning);
    void flush();
    void checkpoint();
    void lookForForeignWrites();
    /// False when it comes again, since the disk is not to be had now.
    bool takeForeignWrites();
    void lookLater(std::chrono::milliseconds delay);
    void lookNow();
    void startWorker();
    void work(PreferencesWorker::Job job);
    bool flushLog();
    void moveLog(Disk::Access disk);
    void startIfPossible();
    void startLater();
    void startNow();
    void start();
    void watchWorker(std::optional<pid_t> worker);
    void lookForRival();

    /// The most that a thread of the host waits for the file.
    static constexpr std::chrono::milliseconds hostPatience{50};

    const SQLitePreferencesOptions options_;
    const std::string path_;
    const std::chrono::milliseconds patience_;
    PreferencesObservers observers_;
    PreferencesMemory memory_;
    PreferencesOwnership ownership_;
    PreferencesSync sync_;
    PreferencesWorker background_;
    Disk disk_;
    /// Written before `loaded_` says so.
    int watched_ = -1;
    std::atomic<bool> loaded_{false};
    std::atomic<bool> looking_{false};
    std::atomic<bool> troubled_{false};
    std::atomic<bool> saidUnsynced_{false};
    std::atomic<bool> waiting_{false};
    // The main run loop's own.
    std::vector<std::function<void()>> starts_;
    /// The process in charge that this one waits for.
    std::optional<pid_t> worker_;
    OwnedDescriptor workerProcess_;
    bool saidRival_ = false;
    bool saidWaiting_ = false;
    bool startsLater_ = false;
};

} // namespace vmr
