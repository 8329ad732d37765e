#pragma once

#include "platform/Mutex.h"
#include "platform/Preferences.h"

#include <list>
#include <memory>
#include <string>

namespace vmr {

class SystemLog;

/// Who observes which key. Safe from any thread; no lock is held while an observer is called. What
/// an observer throws is logged and dropped, and the others are still called; that one of them had
/// no memory is thrown in the end, for what it had to do is not done.
class PreferencesObservers {
public:
    explicit PreferencesObservers(const std::shared_ptr<SystemLog> &log);

    void add(std::weak_ptr<KeyValueObserver> observer, std::string_view keyPath, void *context);
    /// Drops the newest such registration; throws ObserverNotRegistered when there is none.
    void remove(const KeyValueObserver *observer, std::string_view keyPath);
    /// Calls every registration for the key or for all keys, in the order they were made.
    void notify(const Preferences *object, std::string_view key, const Value &before,
                const Value &after);

private:
    struct Registration {
        std::weak_ptr<KeyValueObserver> observer;
        const KeyValueObserver *identity;
        std::string keyPath;
        void *context;
    };
    std::list<Registration> concernedBy(std::string_view key);
    bool isRegistered(const Registration &one);

    const std::shared_ptr<SystemLog> log_;
    Mutex mutex_;
    std::list<Registration> registrations_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
