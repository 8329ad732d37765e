#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace vmr {

struct Notification {
    std::string_view name; // a literal, as where it is observed and posted
    /// What it is about, of the type that belongs to the name; valid during the call.
    const void *object = nullptr;
};

inline constexpr std::string_view UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";

/// Delivers notifications on the posting thread, in the order the observers were added. Added
/// twice means called twice. Observers are held weakly, and fast while they are called. Safe from
/// any thread; no lock is held while observers are called.
class NotificationCenter {
public:
    virtual void addObserver(std::weak_ptr<void> observer, std::string_view name,
                             std::function<void(const Notification &)> handler) = 0;
    /// Drops all registrations of the observer.
    virtual void removeObserver(const void *observer) = 0;
    virtual void postNotification(std::string_view name, const void *object = nullptr) = 0;

protected:
    ~NotificationCenter() = default;
};

} // namespace vmr
