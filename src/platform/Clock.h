#pragma once

#include "platform/Date.h"

namespace vmr {

/// Wall-clock time, for the dates that are recorded.
class Clock {
public:
    virtual Date now() const = 0;

protected:
    ~Clock() = default;
};

} // namespace vmr
