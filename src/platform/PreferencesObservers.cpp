#include "platform/PreferencesObservers.h"

#include "platform/GuardedCall.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace vmr {
namespace {

Value orNullMarker(const Value &value) {
    return value.isAbsent() ? Value::null() : value;
}

} // namespace

PreferencesObservers::PreferencesObservers(const std::shared_ptr<SystemLog> &log) : log_(log) {}

void PreferencesObservers::add(std::weak_ptr<KeyValueObserver> observer, std::string_view keyPath,
                               void *context) {
    const auto alive = observer.lock();
    if (!alive)
        return;
    const MutexLock lock(mutex_);
    std::erase_if(registrations_, [](const Registration &one) { return one.observer.expired(); });
    registrations_.push_back({std::move(observer), alive.get(), std::string(keyPath), context});
}

void PreferencesObservers::remove(const KeyValueObserver *observer, std::string_view keyPath) {
    const MutexLock lock(mutex_);
    const auto found = std::ranges::find_if(
        registrations_.rbegin(), registrations_.rend(), [&](const Registration &one) {
            return one.identity == observer && one.keyPath == keyPath;
        });
    if (found == registrations_.rend())
        throw ObserverNotRegistered("no such observer is registered for the key path \"" +
                                    std::string(keyPath) + "\"");
    registrations_.erase(std::next(found).base());
}

std::list<PreferencesObservers::Registration>
PreferencesObservers::concernedBy(std::string_view key) {
    std::list<Registration> result;
    const MutexLock lock(mutex_);
    for (const Registration &one : registrations_) {
        if (one.keyPath.empty() || one.keyPath == key)
            result.push_back(one);
    }
    return result;
}

bool PreferencesObservers::isRegistered(const Registration &one) {
    const MutexLock lock(mutex_);
    return std::ranges::any_of(registrations_, [&](const Registration &each) {
        return each.identity == one.identity && each.keyPath == one.keyPath;
    });
}

void PreferencesObservers::notify(const Preferences *object, std::string_view key,
                                  const Value &before, const Value &after) {
    const std::list<Registration> concerned = concernedBy(key);
    if (concerned.empty())
        return;
    const std::string keyPath(key);
    const Dictionary change = dictionaryOf({{NSKeyValueChangeKindKey, Value::integer(1)},
                                            {NSKeyValueChangeNewKey, orNullMarker(after)},
                                            {NSKeyValueChangeOldKey, orNullMarker(before)}});
    bool isOutOfMemory = false;
    const auto call = [&](KeyValueObserver &observer, void *context) {
        try {
            observer.observeValueForKeyPath(keyPath, object, change, context);
        } catch (const std::bad_alloc &) {
            isOutOfMemory = true;
            throw;
        }
    };
    for (const Registration &one : concerned) {
        const auto observer = one.observer.lock();
        if (observer && isRegistered(one)) // one before it may have removed it
            callGuarded(*log_, "An observer of the preferences",
                        [&] { call(*observer, one.context); });
    }
    if (isOutOfMemory)
        throw std::bad_alloc();
}

} // namespace vmr
