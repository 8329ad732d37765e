#pragma once

#include "platform/Mutex.h"

#include <utility>

namespace vmr {

/// A value that any thread may read and replace. What it held before goes after the lock.
template <class T>
class Locked {
public:
    Locked() = default;
    explicit Locked(T value) : value_(std::move(value)) {}

    T get() const {
        const MutexLock lock(mutex_);
        return value_;
    }
    void set(T value) {
        const MutexLock lock(mutex_);
        std::swap(value_, value);
    }
    /// Calls `work` with the value while nobody else has it.
    template <class Work>
    auto with(const Work &work) {
        const MutexLock lock(mutex_);
        return work(value_);
    }

private:
    mutable Mutex mutex_;
    T value_ VMR_GUARDED_BY(mutex_){};
};

} // namespace vmr
