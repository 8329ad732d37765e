#pragma once

#include "platform/Preferences.h"
#include "platform/linux/preferences/PreferencesInspection.h"
#include "platform/linux/preferences/SQLitePreferencesOptions.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr {

class PreferencesObservers;
class PreferencesStore;

/// The preferences in one SQLite file, which is opened at the first use; docs/storage.md describes
/// it. A store that cannot be opened or written leaves everything in memory and a line in the log.
/// In a forked child the file is never touched: reads give what was in memory, writes change the
/// child's memory alone, and nobody observes.
class SQLitePreferences final : public Preferences {
public:
    explicit SQLitePreferences(SQLitePreferencesOptions options);
    ~SQLitePreferences() override;
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
    std::string path() const;
    /// Why this process could not use the file the last time, if so.
    PreferencesTrouble trouble() const;
    /// The reason why it cannot be used, if so, and who works it.
    PreferencesInspection inspect() const;

    /// Takes charge of this store for this process, and calls `start` within a transaction: at
    /// once, or, where another process is in charge, on the main run loop once that has ended.
    /// Until then what is set here under the keys that the SDK watches is handed over to that one.
    void work(std::function<void()> start);
    using Handovers = std::vector<std::pair<std::string, Value>>;
    /// Within `start`: hands out the values that other processes have handed over to the one in
    /// charge of the store, with their keys, oldest first; where nothing is thrown they are
    /// handled.
    void seeToHandovers(const std::function<void(const Handovers &)> &see);
    /// Whether this process is in charge of the store, which it is from now on where no other is;
    /// nothing where that cannot be told now.
    std::optional<bool> takeWork();
    /// Removes what these keys hold, and the same keys with a point and an addition; all lists of
    /// records, handovers, and files that were set aside as damaged; and overwrites it. The process
    /// is in charge of the store no longer. False where some of it is still there.
    bool erase(std::span<const std::string_view> keys);

private:
    void change(const Value &after, std::string_view key);

    const std::shared_ptr<SystemLog> log_;
    const std::vector<std::string> handedOver_;
    std::shared_ptr<PreferencesObservers> observers_;
    std::shared_ptr<PreferencesStore> store_;
};

} // namespace vmr
