#include "platform/linux/loops/LocalNotificationCenter.h"

#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <utility>

namespace vmr {

struct LocalNotificationCenter::Registration {
    std::weak_ptr<void> observer;
    // Kept beside it, because an observer may remove itself while it is being destroyed.
    const void *identity;
    std::string name;
    std::function<void(const Notification &)> handler;
    std::atomic<bool> removed{false};
};

LocalNotificationCenter::LocalNotificationCenter(const std::shared_ptr<SystemLog> &log)
    : log_(log) {}

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
    // What the handlers hold is let go of after the lock.
    std::vector<std::shared_ptr<Registration>> before;
    const MutexLock lock(mutex_);
    before = registrations_;
    for (const auto &registration : before)
        registration->removed = registration->identity == observer;
    std::erase_if(registrations_,
                  [](const auto &registration) { return registration->removed.load(); });
}

void LocalNotificationCenter::postNotification(std::string_view name, const void *object) {
    const Notification notification{std::string(name), object};
    std::vector<std::shared_ptr<Registration>> registrations;
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
            callGuarded(*log_, "An observer of " + notification.name,
                        [&] { registration->handler(notification); });
    }
}

} // namespace vmr
