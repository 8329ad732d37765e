#include "platform/Semaphore.h"

namespace vmr {

void Semaphore::wait() {
    const MutexLock lock(mutex_);
    while (count_ <= 0)
        available_.wait(mutex_);
    --count_;
}

void Semaphore::signal() {
    const MutexLock lock(mutex_);
    ++count_;
    // Inside the lock: whoever was woken may destroy the semaphore as soon as it has the lock.
    available_.notify_one();
}

} // namespace vmr
