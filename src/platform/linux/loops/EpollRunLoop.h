#pragma once

#include "platform/DelayedCalls.h"
#include "platform/Mutex.h"
#include "platform/RunLoop.h"
#include "platform/linux/ServiceLoop.h"
#include "platform/linux/loops/LoopDescriptors.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string_view>

namespace vmr {

class SystemLog;

/// A thread's run loop on Linux. Delayed calls, `process` and `run…` belong to its thread; queueing
/// work, `schedule`, the watched descriptors, `stop` and `isIdle` are safe from any thread. Needs
/// no descriptor until somebody waits for it. What a callback throws is logged and dropped.
class EpollRunLoop final : public RunLoop, public MainQueue, public ServiceLoop {
public:
    explicit EpollRunLoop(SystemLog &log) : log_(log) {}

    void performAfterDelay(const DelayedCallKey &key, std::weak_ptr<const void> target,
                           std::function<void()> call, double delay) override;
    void cancelPreviousPerformRequests(const DelayedCallKey &key) override;
    void async(std::function<void()> work) override;

    void schedule(double delay, std::function<void()> work) override;
    void addDescriptor(int descriptor, std::function<void()> readable) override;
    void removeDescriptor(int descriptor) override;

    /// Readable when `process` has something to do; -1 where the process has none left.
    int descriptor();
    /// Does what is due now and returns. A call from inside a callback does nothing.
    void process();
    /// Runs the loop until `done` (may be empty; asked after every pass) says true, `stop` is
    /// called or the time is over. True when `done` said so.
    bool runUntil(double seconds, const std::function<bool()> &done);
    /// Ends the run that is under way, else the next one.
    void stop();
    /// Makes a run that is under way ask its condition again.
    void wake();
    /// Whether no delayed call and no queued work is pending and no callback is running.
    bool isIdle() const;

    struct State {
        std::size_t delayedCalls;
        std::size_t queued;
        /// Negative when it is late; nothing while nothing is to come.
        std::optional<double> secondsUntilDue;
        /// Nothing before the first pass.
        std::optional<double> secondsSinceProcessed;
    };
    State state() const;

private:
    struct Watched {
        int descriptor;
        std::function<void()> readable;
    };

    int openDescriptors() VMR_REQUIRES(mutex_);
    void report(std::string_view action, int error);
    void armTimer() VMR_REQUIRES(mutex_);
    std::list<Watched>::iterator findWatched(int descriptor) VMR_REQUIRES(mutex_);
    void runReadable();
    void runDelayedCalls();
    void drainQueue();
    bool takeStop();

    SystemLog &log_;
    std::atomic<bool> processing_{false};

    mutable Mutex mutex_;
    LoopDescriptors descriptors_ VMR_GUARDED_BY(mutex_);
    bool reportedFailure_ VMR_GUARDED_BY(mutex_) = false;
    bool stopping_ VMR_GUARDED_BY(mutex_) = false;
    DelayedCalls calls_ VMR_GUARDED_BY(mutex_);
    std::optional<double> processed_ VMR_GUARDED_BY(mutex_);
    std::list<std::function<void()>> queue_ VMR_GUARDED_BY(mutex_);
    std::list<Watched> watched_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
