#pragma once

#include <VelmoraKit/Result.h>

#include <memory>

namespace VelmoraKit {

/// The main run loop, which handles posts, timers and other processes' changes. It belongs to the
/// thread that starts the SDK; on another one `process` and the runs fail. Called by an observer or
/// by work that the loop itself has called, they return at once and do nothing. Let it run, or
/// watch its descriptor in a loop of your own and call `process` whenever it is readable; nothing
/// wakes up while there is nothing to do.
class RunLoop {
public:
    /// To be watched for reading, from any thread; stays the SDK's. -1 while the process can open
    /// no more descriptors.
    int descriptor() const {
        int descriptor = -1;
        return velmora_run_loop_descriptor(&descriptor) == VELMORA_OK ? descriptor : -1;
    }
    /// Handles what is due and returns.
    Result process() { return Result(velmora_run_loop_process()); }
    /// Until `stop`.
    Result run() { return Result(velmora_run_loop_run(-1)); }
    /// A finite number.
    Result run(double seconds) { return Result(velmora_run_loop_run(seconds < 0 ? 0 : seconds)); }
    /// Until nothing is outstanding, at most that many seconds, a finite number. True when nothing
    /// is.
    bool runUntilIdle(double seconds) {
        int settled = 0;
        return velmora_run_loop_run_until_idle(seconds, &settled) == VELMORA_OK && settled != 0;
    }
    /// Lets the loop call `work()` on its thread, after what was handed over before; returns at
    /// once. From any thread: this is how a worker sets a consent string so that it is posted like
    /// any other. What the work throws is dropped.
    template <class Work>
    Result perform(Work work) {
        auto context = std::make_unique<Work>(std::move(work));
        const Result result(velmora_run_loop_perform(callOnce<Work>, context.get()));
        if (result)
            static_cast<void>(context.release());
        return result;
    }
    /// From any thread.
    Result stop() { return Result(velmora_run_loop_stop()); }

private:
    template <class Work>
    static void callOnce(void *context) {
        const std::unique_ptr<Work> work(static_cast<Work *>(context));
        detail::callHost<Work>(work.get());
    }
};

} // namespace VelmoraKit
