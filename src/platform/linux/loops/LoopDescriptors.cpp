#include "platform/linux/loops/LoopDescriptors.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vmr {
namespace {

int add(int epoll, int descriptor) noexcept {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : errno;
}

timespec momentOf(double seconds) noexcept {
    constexpr std::int64_t perSecond = 1'000'000'000;
    // All zeros would disarm the timer instead of letting it expire at once.
    const double moment = std::max(std::ceil(seconds * perSecond), 1.0);
    const auto nanoseconds = static_cast<std::int64_t>(moment);
    return {.tv_sec = static_cast<time_t>(nanoseconds / perSecond),
            .tv_nsec = static_cast<long>(nanoseconds % perSecond)};
}

} // namespace

int LoopDescriptors::open() {
    OwnedDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    if (!epoll)
        return errno;
    OwnedDescriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!timer)
        return errno;
    OwnedDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event)
        return errno;
    for (const int descriptor : {timer.get(), event.get()}) {
        if (const int error = add(epoll.get(), descriptor))
            return error;
    }
    epoll_ = std::move(epoll);
    timer_ = std::move(timer);
    event_ = std::move(event);
    return 0;
}

void LoopDescriptors::wake() noexcept {
    if (!isOpen() || awake_)
        return;
    const std::uint64_t one = 1;
    awake_ = ::write(event_.get(), &one, sizeof one) == sizeof one;
}

void LoopDescriptors::clearWake() noexcept {
    if (!awake_)
        return;
    std::uint64_t count = 0;
    if (::read(event_.get(), &count, sizeof count) == sizeof count || errno == EAGAIN)
        awake_ = false;
}

void LoopDescriptors::arm(std::optional<double> due) noexcept {
    // A timer that has expired stays readable until it is set anew, so an equal moment needs
    // nothing done.
    if (!isOpen() || due == armedFor_)
        return;
    itimerspec setting{};
    if (due)
        setting.it_value = momentOf(*due);
    if (timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr) == 0)
        armedFor_ = due;
}

int LoopDescriptors::watch(int descriptor) noexcept {
    return isOpen() ? add(epoll_.get(), descriptor) : 0;
}

void LoopDescriptors::unwatch(int descriptor) noexcept {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
}

LoopDescriptors::Readable LoopDescriptors::readable() const {
    Readable found;
    found.count =
        epoll_wait(epoll_.get(), found.events.data(), static_cast<int>(found.events.size()), 0);
    return found;
}

void LoopDescriptors::waitReadable(int epoll, double seconds) noexcept {
    pollfd waited{epoll, POLLIN, 0};
    constexpr double longest = std::numeric_limits<int>::max();
    const int timeout =
        std::isinf(seconds) ? -1 : static_cast<int>(std::min(std::ceil(seconds * 1e3), longest));
    ::poll(&waited, epoll >= 0 ? 1 : 0, timeout);
}

} // namespace vmr
