#pragma once

#include "platform/SerialQueue.h"

#include <memory>
#include <string>

namespace vmr {

class Activity;
class SystemLog;

/// Serial queues with a thread each. The thread starts with the first job, blocks every signal, and
/// ends when the last handle is gone and the jobs are done; nobody waits for it. Where the system
/// gives no thread the jobs stay queued, and every further job tries again. Safe from any thread.
class ThreadSerialQueues final : public SerialQueues {
public:
    ThreadSerialQueues(const std::shared_ptr<SystemLog> &log,
                       const std::shared_ptr<Activity> &activity);
    std::shared_ptr<SerialQueue> make(std::string label) override;

private:
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;
};

} // namespace vmr
