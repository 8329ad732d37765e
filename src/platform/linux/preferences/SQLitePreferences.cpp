#include "platform/linux/preferences/SQLitePreferences.h"

#include "platform/GuardedCall.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/ServiceLoop.h"
#include "platform/linux/preferences/PreferencesPlace.h"

#include <algorithm>
#include <utility>

namespace vmr {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// A tool has nothing better to do.
constexpr milliseconds toolPatience{1000};

} // namespace

std::shared_ptr<SQLitePreferences> SQLitePreferences::make(SQLitePreferencesOptions options) {
    return {new SQLitePreferences(std::move(options)), [](const SQLitePreferences *made) {
                if (!isForkedChild())
                    delete made;
            }};
}

SQLitePreferences::SQLitePreferences(SQLitePreferencesOptions &&options)
    : options_(std::move(options)),
      path_(options_.path.empty() ? defaultPreferencesPath(options_.bundleIdentifier)
                                  : options_.path),
      patience_(options_.isTool ? toolPatience : hostPatience), observers_(options_.log),
      ownership_(path_), sync_(path_),
      background_(
          [this](PreferencesWorker::Job job) {
              callGuarded(*options_.log, "A job of the preferences", [this, job] { work(job); });
          },
          [this](milliseconds delay) { later(delay, &SQLitePreferences::startWorker); }),
      disk_(options_, path_, memory_, ownership_, sync_, background_) {}

SQLitePreferences::~SQLitePreferences() {
    background_.stop();
    watchWorker({});
    if (watched_ >= 0)
        options_.loop->removeDescriptor(watched_);
    const Turn turn(*this, steady_clock::now() + hostPatience);
}

/// What the file holds counts as there before it is read.
PreferencesMemory &SQLitePreferences::memory() const {
    auto &self = const_cast<SQLitePreferences &>(*this);
    if (!isForkedChild())
        self.load();
    return self.memory_;
}

Value SQLitePreferences::objectForKey(std::string_view key) const {
    return memory().get(key);
}

std::vector<std::string> SQLitePreferences::keys() const {
    return memory().keys();
}

void SQLitePreferences::setObject(const Value &value, std::string_view key) {
    PreferencesMemory &memory = this->memory();
    if (isForkedChild()) {
        memory.put(key, value);
        return;
    }
    const Turn turn(*this);
    const auto &handedOver = options_.watchedKeys;
    const bool isHandedOver = isWaiting() && std::ranges::find(handedOver, key) != handedOver.end();
    const Value before = memory.put(key, value, isHandedOver);
    if (!before.isAbsent() || !value.isAbsent())
        observers_.notify(this, key, before, value);
}

void SQLitePreferences::removeObjectForKey(std::string_view key) {
    setObject(Value(), key);
}

std::unique_ptr<Preferences::Transaction> SQLitePreferences::transaction() {
    if (isForkedChild())
        return nullptr;
    load();
    return std::make_unique<Turn>(*this);
}

bool SQLitePreferences::synchronizeWithin(milliseconds patience) {
    if (isForkedChild())
        return false;
    load();
    if (Turn *const own = ownTurn()) { // half of it would be no use
        own->patience_ = std::max(own->patience_, patience);
        own->isSynced_ = true;
        return !path_.empty() && own->disk_ && !own->disk_->isTroubled();
    }
    { const Turn turn(*this); }
    // Only now, so that what other threads set meanwhile is known not to be worth waiting for.
    if (memory_.hasUnwritten())
        const Turn turn(*this, steady_clock::now() + patience);
    if (path_.empty() || memory_.hasUnwritten() || !flushLog())
        return false;
    moveLog(disk_.enterUntil(steady_clock::now() + hostPatience));
    return true;
}

void SQLitePreferences::addObserver(std::weak_ptr<KeyValueObserver> observer,
                                    std::string_view keyPath, void *context) {
    if (isForkedChild())
        return;
    load(); // else nobody would look at what other processes write
    observers_.add(std::move(observer), keyPath, context);
}

void SQLitePreferences::removeObserver(const KeyValueObserver *observer, std::string_view keyPath) {
    if (!isForkedChild())
        observers_.remove(observer, keyPath);
}

} // namespace vmr
