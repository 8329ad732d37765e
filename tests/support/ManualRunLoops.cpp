#include "support/ManualRunLoops.h"

#include <chrono>

namespace vmr::test {

ManualRunLoops::ManualRunLoops(std::shared_ptr<FakeClock> clock)
    : clock_(std::move(clock)), main_(clock_) {}

RunLoop &ManualRunLoops::current() {
    if (std::this_thread::get_id() == mainThread_)
        return main_;
    thread_local Loop loop{clock_};
    return loop;
}

void ManualRunLoops::async(std::function<void()> work) {
    const MutexLock lock(mutex_);
    queue_.push_back(std::move(work));
    queued_.notify_all();
}

bool ManualRunLoops::runQueued() {
    std::function<void()> work;
    {
        const MutexLock lock(mutex_);
        if (queue_.empty())
            return false;
        work = std::move(queue_.front());
        queue_.pop_front();
    }
    work();
    return true;
}

void ManualRunLoops::runDue() {
    while (main_.runPass() || runQueued()) {
    }
}

void ManualRunLoops::advance(double seconds) {
    const double end = clock_->monotonicSeconds() + seconds;
    runDue();
    while (main_.calls.nextDue() && *main_.calls.nextDue() <= end) {
        clock_->advance(*main_.calls.nextDue() - clock_->monotonicSeconds());
        runDue();
    }
    clock_->advance(end - clock_->monotonicSeconds());
}

bool ManualRunLoops::runUntil(const std::function<bool()> &done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
        if (runQueued())
            continue;
        const MutexLock lock(mutex_);
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        // Wakes up for work, and now and then for a condition that another thread fulfils.
        queued_.wait_for(mutex_, std::chrono::milliseconds(2));
    }
    return true;
}

void ManualRunLoops::Loop::performAfterDelay(const DelayedCallKey &key,
                                             std::weak_ptr<const void> target,
                                             std::function<void()> call, double delay) {
    calls.add({key, std::move(target), std::move(call), clock->monotonicSeconds() + delay});
}

void ManualRunLoops::Loop::cancelPreviousPerformRequests(const DelayedCallKey &key) {
    calls.cancel(key);
}

bool ManualRunLoops::Loop::runPass() {
    const auto pass = calls.beginPass();
    bool ran = false;
    for (;;) {
        const auto next = calls.takeNext(clock->monotonicSeconds(), pass);
        if (next.empty())
            return ran;
        next.front()();
        ran = true;
    }
}

} // namespace vmr::test
