#pragma once

#include "platform/Mutex.h"
#include "platform/Preferences.h"
#include "platform/linux/preferences/PreferencesTrouble.h"
#include "platform/linux/preferences/SQLitePreferencesOptions.h"

#include <sys/types.h>

#include <memory>

namespace vmr {

class PreferencesColumn;
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
    void setObjectMadeBy(const std::function<Value()> &make, std::string_view key) override;
    void removeObjectForKey(std::string_view key) override;
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

private:
    bool isForkedChild() const noexcept;
    void change(const Value &value, std::optional<PreferencesColumn> column, std::string_view key);
    void saveChange(std::string_view key, const Value &before, const Value &after);

    const pid_t process_;
    const std::shared_ptr<SystemLog> log_;
    /// Held while a value is made and put into memory; what stands there last is what is saved.
    Mutex madeInOrder_;
    std::shared_ptr<PreferencesObservers> observers_;
    std::shared_ptr<PreferencesStore> store_;
};

} // namespace vmr
