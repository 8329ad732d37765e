#include "platform/linux/preferences/SQLitePreferences.h"

#include "platform/PreferencesObservers.h"
#include "platform/SystemLog.h"
#include "platform/Text.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/preferences/PreferencesStore.h"

#include <algorithm>
#include <utility>

namespace vmr {
namespace {

// Twice, since the end of the turn waits once more where the erasure could not be done.
constexpr std::chrono::milliseconds erasePatience{1'500};

} // namespace

SQLitePreferences::SQLitePreferences(SQLitePreferencesOptions options)
    : log_(options.log), handedOver_(options.watchedKeys),
      observers_(std::make_shared<PreferencesObservers>(log_)),
      store_(std::make_shared<PreferencesStore>(
          std::move(options),
          // Has the observers itself: one of them, or another thread, may destroy this object.
          [this, observers = observers_](const PreferencesChange &one) {
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

std::string SQLitePreferences::path() const {
    return store_->path();
}

PreferencesTrouble SQLitePreferences::trouble() const {
    return store_->trouble();
}

PreferencesInspection SQLitePreferences::inspect() const {
    return store_->inspect();
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
        log_->write("VelmoraKit: a preferences key that is not valid UTF-8 is refused; name keys "
                    "in UTF-8.");
        return;
    }
    if (containsRecord(value)) {
        log_->write("VelmoraKit: Attempt to insert non-property list object for key " +
                    std::string(key) + "; archive the record and store its data.");
        return;
    }
    change(value, key);
}

void SQLitePreferences::removeObjectForKey(std::string_view key) {
    change(Value(), key);
}

void SQLitePreferences::change(const Value &after, std::string_view key) {
    if (isForkedChild()) {
        store_->memory().put(key, after);
        return;
    }
    store_->load();
    const PreferencesStore::Turn turn(*store_);
    const bool isHandedOver =
        store_->isWaiting() &&
        std::find(handedOver_.begin(), handedOver_.end(), key) != handedOver_.end();
    const Value before = store_->memory().put(key, after, isHandedOver);
    if (!before.isAbsent() || !after.isAbsent())
        observers_->notify(this, key, before, after);
}

std::unique_ptr<Preferences::Transaction> SQLitePreferences::transaction() {
    if (isForkedChild())
        return nullptr;
    store_->load();
    return std::make_unique<PreferencesStore::Turn>(*store_);
}

void SQLitePreferences::work(std::function<void()> start) {
    store_->work(std::move(start));
}

void SQLitePreferences::seeToHandovers(const std::function<void(const Handovers &)> &see) {
    store_->seeToHandovers(see);
}

std::optional<bool> SQLitePreferences::takeWork() {
    return store_->takeWork();
}

bool SQLitePreferences::erase(std::span<const std::string_view> keys) {
    const PreferencesStore::Turn turn(*store_, std::chrono::steady_clock::now() + erasePatience);
    for (const std::string &stored : store_->memory().keys())
        if (PreferencesDisk::isOneOf(keys, stored))
            change(Value(), stored);
    return store_->erase(keys, erasePatience);
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
