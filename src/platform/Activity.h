#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace vmr {

/// Counts the work that is under way outside the main run loop (queued or running jobs, exchanges),
/// so that a host or a tool can wait until the SDK has nothing left to do.
class Activity {
public:
    void begin() noexcept { outstanding_.fetch_add(1, std::memory_order_acq_rel); }
    /// Called after everything that the work left behind is queued.
    void end() noexcept {
        if (outstanding_.fetch_sub(1, std::memory_order_acq_rel) == 1 && idle_)
            idle_();
    }
    std::int64_t count() const noexcept { return outstanding_.load(std::memory_order_acquire); }
    bool isIdle() const noexcept { return count() == 0; }
    /// Set once, before the first `begin`; called on the thread that ended the last work.
    void onIdle(std::function<void()> idle) { idle_ = std::move(idle); }

private:
    std::atomic<std::int64_t> outstanding_{0};
    std::function<void()> idle_;
};

} // namespace vmr
