#pragma once

#include "platform/Clock.h"

namespace vmr {

/// Seconds of the system's monotonic clock, which timers are armed against.
double monotonicSeconds() noexcept;

class SystemClock final : public Clock {
public:
    Date now() const override;
};

} // namespace vmr
