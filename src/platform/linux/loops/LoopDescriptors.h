#pragma once

#include "platform/linux/OwnedDescriptor.h"

#include <sys/epoll.h>

#include <array>
#include <optional>

namespace vmr {

/// What a run loop waits on: one epoll descriptor that is readable while a timer is due, a wake-up
/// is pending or a watched descriptor is readable. Opened on first use. Not safe from several
/// threads; only `waitReadable` may run beside the other operations, on a copy of `epoll()`.
class LoopDescriptors {
public:
    /// 0, or the errno of what could not be opened; then nothing is open.
    int open();
    bool isOpen() const noexcept { return static_cast<bool>(epoll_); }
    int epoll() const noexcept { return epoll_.get(); }

    /// Makes the epoll descriptor readable; again only after `clearWake`.
    void wake() noexcept;
    void clearWake() noexcept;
    /// Sets the timer to a moment of the monotonic clock, or disarms it.
    void arm(std::optional<double> due) noexcept;

    /// 0 or an errno.
    int watch(int descriptor) noexcept;
    void unwatch(int descriptor) noexcept;
    struct Readable {
        std::array<epoll_event, 16> events{};
        int count = 0;
    };
    /// What is readable now: watched descriptors, the timer, the wake-up.
    Readable readable() const;

    /// Blocks until the epoll descriptor is readable, a signal comes or `seconds` have passed.
    static void waitReadable(int epoll, double seconds) noexcept;

private:
    OwnedDescriptor epoll_;
    OwnedDescriptor timer_;
    OwnedDescriptor event_;
    bool awake_ = false;
    std::optional<double> armedFor_;
};

} // namespace vmr
