#pragma once

#include "platform/Activity.h"
#include "platform/Mutex.h"
#include "platform/RunLoop.h"

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <limits>
#include <memory>

namespace vmr {

class EpollRunLoop;
class SystemLog;

/// The run loops of the process. The main loop belongs to the thread that makes the start call, or
/// that runs it before then, for as long as that thread lives; every other thread has a loop of its
/// own, which nobody needs to run. Safe from any thread where nothing else is said.
class LinuxRunLoops final : public RunLoops {
public:
    LinuxRunLoops(const std::shared_ptr<SystemLog> &log, const std::shared_ptr<Activity> &activity);
    ~LinuxRunLoops();

    RunLoop &current() override;
    MainQueue &mainQueue() override;

    /// Makes the calling thread the main thread, unless another living thread is (false, and a log
    /// line the first time).
    bool adoptMainThread();
    bool isMainThread() { return ownsMainLoop(false); }
    /// The number of the main thread; 0 while there is none.
    pid_t mainThread();

    /// Its descriptor is for a host with a loop of its own, and stays the same for ever; what is
    /// added to it and scheduled on it are services' own events.
    EpollRunLoop &main() { return *main_; }
    /// Main thread only. Does what is due without blocking; nested calls return at once.
    void process();

    /// Each runs the calling thread's loop, blocking. From inside a callback they return at once.
    void run(double seconds = std::numeric_limits<double>::infinity());
    /// Until the condition, asked after every pass, is true. False when the time was over before.
    bool runUntil(double seconds, const std::function<bool()> &done);
    /// Main thread only. Until nothing is pending or under way: no delayed call, no queued work, no
    /// activity of other threads. False when the time was over before.
    bool runUntilIdle(double seconds);

private:
    bool ownsMainLoop(bool claim);
    EpollRunLoop &loopOfThread(bool claimMainLoop);

    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;
    const std::shared_ptr<EpollRunLoop> main_;
    const std::shared_ptr<std::atomic<bool>> awaitingIdle_;
    std::atomic<bool> reportedOtherOwner_{false};

    Mutex mutex_;
    /// The number of the owning thread as long as it lives, then 0.
    std::shared_ptr<const std::atomic<pid_t>> owner_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
