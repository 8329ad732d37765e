#include "platform/linux/loops/LinuxRunLoops.h"

#include "platform/SystemLog.h"
#include "platform/linux/OfThread.h"

#include <unistd.h>

#include <utility>

namespace vmr {
namespace {

// Outlives ThreadState: callbacks of other objects that die with the thread may still ask.
thread_local bool threadIsEnding = false;

struct ThreadState {
    ~ThreadState() {
        threadIsEnding = true;
        number->store(0, std::memory_order_release);
    }
    std::shared_ptr<std::atomic<pid_t>> number = std::make_shared<std::atomic<pid_t>>(::gettid());
    std::unique_ptr<EpollRunLoop> loop;
};

ThreadState &threadState() {
    static const OfThread<ThreadState> states;
    return states.get();
}

/// The loop of a thread that is ending and will never run anything again.
class EndedRunLoop final : public RunLoop {
public:
    void performAfterDelay(const DelayedCallKey &, std::weak_ptr<const void>, std::function<void()>,
                           double) override {}
    void cancelPreviousPerformRequests(const DelayedCallKey &) override {}
};

} // namespace

LinuxRunLoops::LinuxRunLoops(SystemLog &log, Activity &activity)
    : log_(log), activity_(activity), main_(log) {
    activity_.onIdle([this] {
        if (awaitingIdle_)
            main_.wake();
    });
}

bool LinuxRunLoops::ownsMainLoop(bool claim) {
    if (threadIsEnding)
        return false;
    const auto &thread = threadState().number;
    const MutexLock lock(mutex_);
    if (claim && (!owner_ || owner_->load(std::memory_order_acquire) == 0))
        owner_ = thread;
    return owner_ == thread;
}

pid_t LinuxRunLoops::mainThread() {
    const MutexLock lock(mutex_);
    return owner_ ? owner_->load(std::memory_order_acquire) : 0;
}

RunLoop &LinuxRunLoops::current() {
    if (threadIsEnding) {
        static EndedRunLoop &ended = *new EndedRunLoop;
        return ended;
    }
    return loopOfThread(false);
}

EpollRunLoop &LinuxRunLoops::loopOfThread(bool claimMainLoop) {
    if (ownsMainLoop(claimMainLoop))
        return main_;
    auto &loop = threadState().loop;
    if (!loop)
        loop = std::make_unique<EpollRunLoop>(log_);
    return *loop;
}

MainQueue &LinuxRunLoops::mainQueue() {
    return main_;
}

bool LinuxRunLoops::adoptMainThread() {
    if (ownsMainLoop(true))
        return true;
    if (!reportedOtherOwner_.exchange(true))
        log_.write("VelmoraKit: the main run loop stays with the thread that used it first");
    return false;
}

void LinuxRunLoops::process() {
    if (ownsMainLoop(true))
        main_.process();
}

bool LinuxRunLoops::run(double seconds, const std::function<bool()> &done) {
    return !threadIsEnding && loopOfThread(true).runUntil(seconds, done);
}

bool LinuxRunLoops::runUntilIdle(double seconds) {
    if (!ownsMainLoop(true))
        return false;
    // In this order: work that other threads leave to the main queue is there when they are done.
    const auto idle = [this] { return activity_.isIdle() && main_.isIdle(); };
    const bool isNested = awaitingIdle_.exchange(true);
    const bool reached = main_.runUntil(seconds, idle);
    awaitingIdle_ = isNested;
    return reached;
}

} // namespace vmr
