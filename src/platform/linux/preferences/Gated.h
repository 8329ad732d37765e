#pragma once

#include "platform/Mutex.h"

#include <chrono>
#include <utility>

namespace vmr {

/// Something that one thread at a time may use, for as long as it holds an Access, and for which
/// others wait until a deadline. No lock of the system is held meanwhile.
template <class T>
class Gated {
public:
    using Moment = std::chrono::steady_clock::time_point;

    class Access {
    public:
        explicit Access(Gated *gate) : gate_(gate) {}
        Access(Access &&other) noexcept : gate_(std::exchange(other.gate_, nullptr)) {}
        Access(const Access &) = delete;
        Access &operator=(const Access &) = delete;
        ~Access() { leave(); }
        void leave() {
            if (Gated *const gate = std::exchange(gate_, nullptr))
                gate->leave();
        }
        /// For a forked child, which has nobody to make room for.
        void forget() noexcept { gate_ = nullptr; }
        explicit operator bool() const noexcept { return gate_ != nullptr; }
        T *operator->() const noexcept { return &gate_->content_; }
        T &operator*() const noexcept { return gate_->content_; }

    private:
        Gated *gate_;
    };

    template <class... Arguments>
    explicit Gated(Arguments &&...arguments) : content_(std::forward<Arguments>(arguments)...) {}

    /// A false Access when somebody else held it all the time.
    Access enterUntil(Moment deadline) {
        const MutexLock lock(mutex_);
        while (taken_ || awaited_ > 0) {
            if (left_.wait_until(mutex_, deadline) == std::cv_status::timeout &&
                (taken_ || awaited_ > 0))
                return Access(nullptr);
        }
        taken_ = true;
        return Access(this);
    }
    /// Whoever waits as long as it takes is let in before all others.
    Access enter() {
        const MutexLock lock(mutex_);
        ++awaited_;
        while (taken_)
            left_.wait(mutex_);
        --awaited_;
        taken_ = true;
        return Access(this);
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
