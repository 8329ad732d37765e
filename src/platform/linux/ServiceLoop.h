#pragma once

#include <functional>

namespace vmr {

/// What the main run loop does for services. Safe from any thread.
class ServiceLoop {
public:
    /// Runs `work` on the loop's thread after a delay in seconds. Housekeeping: a loop that only
    /// waits for this counts as idle.
    virtual void schedule(double delay, std::function<void()> work) = 0;
    /// Calls `readable` on the loop's thread while the descriptor is readable. It must not block.
    virtual void addDescriptor(int descriptor, std::function<void()> readable) = 0;
    /// Before the descriptor is closed; a call that is already under way finishes.
    virtual void removeDescriptor(int descriptor) = 0;

protected:
    ~ServiceLoop() = default;
};

} // namespace vmr
