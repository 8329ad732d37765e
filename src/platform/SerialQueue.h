#pragma once

#include <functional>
#include <memory>
#include <string>

namespace vmr {

/// Runs jobs one at a time in the order they came, on a thread of its own that starts with the
/// first job. Dropping the last handle lets the jobs that are already queued finish.
class SerialQueue {
public:
    /// From any thread; returns at once. What `job` throws is logged and dropped.
    virtual void async(std::function<void()> job) = 0;

protected:
    ~SerialQueue() = default;
};

class SerialQueues {
public:
    virtual std::shared_ptr<SerialQueue> make(std::string label) = 0;

protected:
    ~SerialQueues() = default;
};

} // namespace vmr
