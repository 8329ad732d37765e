#include "platform/linux/SystemClock.h"

#include <time.h>

namespace vmr {
namespace {

double secondsOf(clockid_t clock) noexcept {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

double monotonicSeconds() noexcept {
    return secondsOf(CLOCK_MONOTONIC);
}

Date SystemClock::now() const {
    return Date{secondsOf(CLOCK_REALTIME)};
}

} // namespace vmr
