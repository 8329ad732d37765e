#pragma once

#include "platform/FunctionRef.h"

namespace vmr {

/// Calls `end` after `work`, also when the work throws; what it threw goes on to the caller.
inline void runThen(FunctionRef<void()> work, FunctionRef<void()> end) {
    try {
        work();
    } catch (...) {
        end();
        throw;
    }
    end();
}

} // namespace vmr
