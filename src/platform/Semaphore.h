#pragma once

#include "platform/Mutex.h"

namespace vmr {

/// A counting semaphore; any thread may signal what another one waited for.
class Semaphore {
public:
    explicit Semaphore(long count) : count_(count) {}
    /// Waits without time-out until the count is above 0, and takes one.
    void wait();
    void signal();

private:
    Mutex mutex_;
    ConditionVariable available_;
    long count_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
