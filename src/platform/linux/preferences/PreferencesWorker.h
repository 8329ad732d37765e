#pragma once

#include "platform/Mutex.h"

#include <array>
#include <chrono>
#include <functional>
#include <thread>

namespace vmr {

/// The thread behind the preferences. It starts with the first job that is due some time, and
/// sleeps without end while none is. Safe from any thread but its own, where `schedule` alone is.
class PreferencesWorker {
public:
    enum class Job { flush, checkpoint, retry };
    using Duration = std::chrono::milliseconds;

    /// `startLater` has it started after a while, for a job that comes up inside a StartScope or
    /// while the system gives no thread.
    PreferencesWorker(std::function<void(Job)> work, std::function<void(Duration)> startLater)
        : work_(std::move(work)), startLater_(std::move(startLater)) {}

    /// Has the job done so long from now, or when it is already due if that is sooner.
    void schedule(Job job, Duration delay);
    void start();
    /// Waits for the job under way and ends the thread; nothing runs afterwards.
    void stop();

private:
    using Moment = std::chrono::steady_clock::time_point;
    static constexpr Moment never = Moment::max();

    void startIfNeeded() VMR_REQUIRES(mutex_);
    void startLater(Duration delay) VMR_REQUIRES(mutex_);
    void run();

    const std::function<void(Job)> work_;
    const std::function<void(Duration)> startLater_;
    Mutex mutex_;
    ConditionVariable changed_;
    std::array<Moment, 3> due_ VMR_GUARDED_BY(mutex_) = {never, never, never};
    bool stopped_ VMR_GUARDED_BY(mutex_) = false;
    bool startPosted_ VMR_GUARDED_BY(mutex_) = false;
    std::thread thread_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
