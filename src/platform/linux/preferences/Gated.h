#pragma once

#include "platform/Mutex.h"

#include <chrono>
#include <memory>
#include <utility>

namespace vmr {

/// Something that one thread at a time may use, for as long as it holds an Access, and for which
/// others wait until a deadline. No lock of the system is held meanwhile.
template <class T>
class Gated {
public:
    using Moment = std::chrono::steady_clock::time_point;

    struct Leave {
        Gated *gate = nullptr;
        void operator()(T *) const { gate->leave(); }
    };
    using Access = std::unique_ptr<T, Leave>;

    template <class... Arguments>
    explicit Gated(Arguments &&...arguments) : content_(std::forward<Arguments>(arguments)...) {}

    /// An empty Access when somebody else held it all the time.
    Access enterUntil(Moment deadline) {
        const MutexLock lock(mutex_);
        while (taken_ || awaited_ > 0) {
            if (left_.wait_until(mutex_, deadline) == std::cv_status::timeout &&
                (taken_ || awaited_ > 0))
                return {};
        }
        taken_ = true;
        return Access(&content_, {this});
    }
    /// Whoever waits as long as it takes is let in before all others.
    Access enter() {
        const MutexLock lock(mutex_);
        ++awaited_;
        while (taken_)
            left_.wait(mutex_);
        --awaited_;
        taken_ = true;
        return Access(&content_, {this});
    }

private:
    void leave() {
        const MutexLock lock(mutex_);
        taken_ = false;
        left_.notify_all();
    }

    Mutex mutex_;
    ConditionVariable left_;
    bool taken_ VMR_GUARDED_BY(mutex_) = false;
    int awaited_ VMR_GUARDED_BY(mutex_) = 0;
    T content_;
};

} // namespace vmr
