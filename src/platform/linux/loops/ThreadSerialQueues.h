#pragma once

#include "platform/Mutex.h"
#include "platform/SerialQueue.h"

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <utility>

namespace vmr {

class Activity;
class SystemLog;

/// A queue with a thread that starts with the first job, blocks every signal, and ends when the
/// queue is closed and the jobs are done; nobody waits for it. Safe from any thread.
class ThreadSerialQueue final : public SerialQueue,
                                public std::enable_shared_from_this<ThreadSerialQueue> {
public:
    ThreadSerialQueue(std::string label, SystemLog &log, Activity &activity)
        : label_(std::move(label)), log_(log), activity_(activity) {}

    /// Where the system gives no thread the jobs stay queued, and every further job tries again.
    void async(std::function<void()> job) override;
    /// False where the system gives no thread; then the job is dropped.
    bool tryAsync(std::function<void()> job);
    /// After the last job.
    void close();

private:
    using Jobs = std::list<std::function<void()>>;

    /// 0, or the errno of why there is no thread for it.
    int add(std::function<void()> &&job, bool mayWait);
    int startWorker() VMR_REQUIRES(mutex_);
    void work();
    /// The next one; none when the thread shall end.
    Jobs take();

    const std::string label_;
    SystemLog &log_;
    Activity &activity_;
    std::atomic<bool> reportedFailure_{false};

    Mutex mutex_;
    ConditionVariable changed_;
    Jobs waiting_ VMR_GUARDED_BY(mutex_);
    /// This queue, as long as it has a thread.
    std::shared_ptr<ThreadSerialQueue> held_ VMR_GUARDED_BY(mutex_);
    bool closed_ VMR_GUARDED_BY(mutex_) = false;
};

/// Queues that are closed with their last handle.
class ThreadSerialQueues final : public SerialQueues {
public:
    ThreadSerialQueues(SystemLog &log, Activity &activity) : log_(log), activity_(activity) {}
    std::shared_ptr<SerialQueue> make(std::string label) override;

private:
    SystemLog &log_;
    Activity &activity_;
};

} // namespace vmr
