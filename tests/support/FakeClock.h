#pragma once

#include "platform/Clock.h"

#include <atomic>

namespace vmr::test {

/// A clock that the test moves by hand. Wall time and monotonic time move together in `advance`.
class FakeClock final : public Clock {
public:
    Date now() const override { return Date{wall_}; }
    double monotonicSeconds() const { return monotonic_; }

    void advance(double seconds) {
        wall_ = wall_ + seconds;
        monotonic_ = monotonic_ + seconds;
    }

private:
    // 4 March 2021, 14:06:07 UTC.
    std::atomic<double> wall_{1614866767.0};
    std::atomic<double> monotonic_{1000.0};
};

} // namespace vmr::test
