#include "platform/linux/preferences/SQLitePreferences.h"

#include "platform/PreferencesObservers.h"
#include "platform/SystemLog.h"
#include "platform/Text.h"
#include "platform/linux/preferences/PreferencesStore.h"

#include <unistd.h>

#include <utility>

namespace vmr {

SQLitePreferences::SQLitePreferences(SQLitePreferencesOptions options)
    : process_(::getpid()), log_(options.log),
      observers_(std::make_shared<PreferencesObservers>(log_)),
      store_(std::make_shared<PreferencesStore>(
          std::move(options),
          // Has the observers itself: one of them, or another thread, may destroy this object.
          [this, observers = observers_](const PreferencesStore::Differences &differences) {
              for (const PreferencesDifference &one : differences)
                  observers->notify(this, one.key, one.before, one.after);
          })) {}

SQLitePreferences::~SQLitePreferences() {
    if (isForkedChild()) {
        // Nothing of the parent's is closed: its thread does not exist here, its locks do.
        static_cast<void>(new std::shared_ptr<PreferencesStore>(std::move(store_)));
        return;
    }
    store_->close();
}

bool SQLitePreferences::isForkedChild() const noexcept {
    return ::getpid() != process_;
}

std::string SQLitePreferences::path() const {
    return store_->path();
}

PreferencesTrouble SQLitePreferences::trouble() const {
    return store_->trouble();
}

Value SQLitePreferences::objectForKey(std::string_view key) const {
    if (!isForkedChild())
        store_->load();
    return store_->memory().get(key);
}

std::vector<std::string> SQLitePreferences::keys() const {
    if (!isForkedChild())
        store_->load();
    return store_->memory().keys();
}

void SQLitePreferences::setObject(const Value &value, std::string_view key) {
    if (value.isAbsent())
        return removeObjectForKey(key);
    if (!isValidUTF8(key)) {
        log_->write("Preferences: a key that is not valid UTF-8 is refused; name keys in UTF-8.");
        return;
    }
    std::optional<PreferencesColumn> column = PreferencesColumn::encode(value);
    if (!column) {
        log_->write("Preferences: Attempt to insert non-property list object for key " +
                    std::string(key) + "; archive the record and store its data.");
        return;
    }
    change(value, std::move(column), key);
}

void SQLitePreferences::setObjectMadeBy(const std::function<Value()> &make, std::string_view key) {
    if (isForkedChild())
        return setObject(make(), key);
    store_->load();
    Value value;
    Value before;
    bool accepted = false;
    {
        const MutexLock inOrder(madeInOrder_);
        value = make();
        std::optional<PreferencesColumn> column = PreferencesColumn::encode(value);
        accepted = value.isAbsent() || (column && isValidUTF8(key));
        if (accepted)
            before = store_->memory().put(key, value, std::move(column));
    }
    if (!accepted)
        return setObject(value, key); // Says why it is refused.
    saveChange(key, before, value);
}

void SQLitePreferences::removeObjectForKey(std::string_view key) {
    change({}, std::nullopt, key);
}

void SQLitePreferences::change(const Value &value, std::optional<PreferencesColumn> column,
                               std::string_view key) {
    if (isForkedChild()) {
        store_->memory().put(key, value, std::move(column));
        return;
    }
    store_->load();
    saveChange(key, store_->memory().put(key, value, std::move(column)), value);
}

void SQLitePreferences::saveChange(std::string_view key, const Value &before, const Value &after) {
    store_->save();
    if (!before.isAbsent() || !after.isAbsent())
        observers_->notify(this, key, before, after);
}

bool SQLitePreferences::synchronizeWithin(std::chrono::milliseconds patience) {
    return !isForkedChild() && store_->synchronize(patience);
}

void SQLitePreferences::addObserver(std::weak_ptr<KeyValueObserver> observer,
                                    std::string_view keyPath, void *context) {
    if (isForkedChild())
        return;
    store_->load(); // else nobody would look at what other processes write
    observers_->add(std::move(observer), keyPath, context);
}

void SQLitePreferences::removeObserver(const KeyValueObserver *observer, std::string_view keyPath) {
    if (!isForkedChild())
        observers_->remove(observer, keyPath);
}

} // namespace vmr
