#pragma once

#include "platform/Mutex.h"
#include "platform/NotificationCenter.h"

#include <list>
#include <memory>

namespace vmr {

class SystemLog;

/// Notifications within the process. What a handler throws is logged and dropped. An observer that
/// is removed while a notification is on its way is not called any more.
class LocalNotificationCenter final : public NotificationCenter {
public:
    explicit LocalNotificationCenter(SystemLog &log) : log_(log) {}

    void addObserver(std::weak_ptr<void> observer, std::string_view name,
                     std::function<void(const Notification &)> handler) override;
    void removeObserver(const void *observer) override;
    void postNotification(std::string_view name, const void *object = nullptr) override;

private:
    struct Registration;

    SystemLog &log_;
    Mutex mutex_;
    std::list<std::shared_ptr<Registration>> registrations_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
