#pragma once

#include "platform/Value.h"

#include <functional>
#include <memory>
#include <string_view>

namespace vmr {

/// What tells delayed calls apart: whom they are for, which operation, with which argument.
struct DelayedCallKey {
    /// Identity of the target; never dereferenced.
    const void *target = nullptr;
    std::string_view operation; // a literal: lives as long as the program
    /// Compared by value; an absent argument matches only an absent one.
    Value argument;
};

/// A thread's loop of delayed calls. Used only from its own thread.
class RunLoop {
public:
    /// Runs `call` once, `delay` seconds from now, on this thread, in a later pass of the loop even
    /// for a delay of 0; calls that fall due together run in the order they were scheduled. The
    /// target is held weakly: when it is gone at that time, the call is dropped. A thread whose
    /// loop never runs never makes the call.
    virtual void performAfterDelay(const DelayedCallKey &key, std::weak_ptr<const void> target,
                                   std::function<void()> call, double delay) = 0;
    /// Drops every pending call of this loop with an equal key.
    virtual void cancelPreviousPerformRequests(const DelayedCallKey &key) = 0;

protected:
    ~RunLoop() = default;
};

/// The main thread's queue: first in, first out, drained by the main run loop, never re-entrantly.
class MainQueue {
public:
    /// From any thread; returns at once. What `work` throws is logged and dropped.
    virtual void async(std::function<void()> work) = 0;

protected:
    ~MainQueue() = default;
};

/// Finds the loops.
class RunLoops {
public:
    /// The calling thread's own loop, made when first asked for.
    virtual RunLoop &current() = 0;
    virtual MainQueue &mainQueue() = 0;

protected:
    ~RunLoops() = default;
};

} // namespace vmr
