#include "platform/linux/loops/LocalNotificationCenter.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <utility>

namespace vmr {

struct LocalNotificationCenter::Registration {
    std::weak_ptr<void> observer;
    // Kept beside it, because an observer may remove itself while it is being destroyed.
    const void *identity;
    std::string_view name;
    std::function<void(const Notification &)> handler;
    std::atomic<bool> removed{false};
};

void LocalNotificationCenter::addObserver(std::weak_ptr<void> observer, std::string_view name,
                                          std::function<void(const Notification &)> handler) {
    const auto alive = observer.lock();
    if (!alive)
        return;
    auto registration = std::make_shared<Registration>();
    registration->observer = std::move(observer);
    registration->identity = alive.get();
    registration->name = name;
    registration->handler = std::move(handler);
    const MutexLock lock(mutex_);
    registrations_.push_back(std::move(registration));
}

void LocalNotificationCenter::removeObserver(const void *observer) {
    std::list<std::shared_ptr<Registration>> removed; // what they hold goes after the lock
    const MutexLock lock(mutex_);
    for (auto next = registrations_.begin(); next != registrations_.end();) {
        const auto registration = next++;
        if ((*registration)->identity == observer) {
            (*registration)->removed = true;
            removed.splice(removed.end(), registrations_, registration);
        }
    }
}

void LocalNotificationCenter::postNotification(std::string_view name, const void *object) {
    const Notification notification{name, object};
    std::list<std::shared_ptr<Registration>> registrations;
    {
        const MutexLock lock(mutex_);
        registrations = registrations_;
        std::erase_if(registrations_,
                      [](const auto &registration) { return registration->observer.expired(); });
    }
    for (const auto &registration : registrations) {
        if (registration->name != name || registration->removed)
            continue;
        if (const auto observer = registration->observer.lock())
            callGuarded(log_, formatText("An observer of %@", name),
                        [&] { registration->handler(notification); });
    }
}

} // namespace vmr
