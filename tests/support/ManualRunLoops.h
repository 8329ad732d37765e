#pragma once

#include "platform/DelayedCalls.h"
#include "platform/Mutex.h"
#include "platform/RunLoop.h"
#include "support/FakeClock.h"

#include <deque>
#include <functional>
#include <memory>
#include <thread>

namespace vmr::test {

/// The main thread's loop and queue, moved by the test. The thread that makes it is the main
/// thread; every other thread gets a loop that never runs.
class ManualRunLoops final : public RunLoops, public MainQueue {
public:
    explicit ManualRunLoops(std::shared_ptr<FakeClock> clock);

    RunLoop &current() override;
    MainQueue &mainQueue() override { return *this; }
    void async(std::function<void()> work) override;

    /// Runs what is due now: delayed calls and queued work, until neither is left.
    void runDue();
    /// Moves the clock forward in the order in which delayed calls fall due, running each.
    void advance(double seconds);
    /// Runs the main queue, waiting for work from other threads, until `done` is true. False when
    /// that does not come about within a generous bound.
    bool runUntil(const std::function<bool()> &done);
    bool hasDelayedCalls() const { return main_.calls.nextDue().has_value(); }

private:
    struct Loop final : RunLoop {
        explicit Loop(std::shared_ptr<FakeClock> loopClock) : clock(std::move(loopClock)) {}
        void performAfterDelay(const DelayedCallKey &key, std::weak_ptr<const void> target,
                               std::function<void()> call, double delay) override;
        void cancelPreviousPerformRequests(const DelayedCallKey &key) override;
        bool runPass();

        std::shared_ptr<FakeClock> clock;
        DelayedCalls calls;
    };
    bool runQueued();

    std::shared_ptr<FakeClock> clock_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
    Loop main_;
    Mutex mutex_;
    ConditionVariable queued_;
    std::deque<std::function<void()>> queue_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr::test
