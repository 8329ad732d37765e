#pragma once

#include "platform/Date.h"

namespace vmr {

/// Wall-clock time for dates that are recorded, monotonic time for durations that are waited.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Date now() const = 0;
    /// Seconds since an arbitrary start; never goes back.
    virtual double monotonicSeconds() const = 0;
};

} // namespace vmr
