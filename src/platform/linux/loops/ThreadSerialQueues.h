#pragma once

#include "platform/Mutex.h"
#include "platform/SerialQueue.h"

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace vmr {

class Activity;
class SystemLog;

/// A queue with a thread that starts with the first job, blocks every signal, and ends when the
/// queue is closed and the jobs are done; nobody waits for it. Safe from any thread.
class ThreadSerialQueue final : public SerialQueue,
                                public std::enable_shared_from_this<ThreadSerialQueue> {
public:
    ThreadSerialQueue(std::string label, const std::shared_ptr<SystemLog> &log,
                      const std::shared_ptr<Activity> &activity);

    /// Where the system gives no thread the jobs stay queued, and every further job tries again.
    void async(std::function<void()> job) override;
    /// False where the system gives no thread; then the job is dropped.
    bool tryAsync(std::function<void()> job);
    /// After the last job.
    void close();

private:
    /// Why there is no thread for it, if there is none.
    std::optional<std::string> add(std::function<void()> &&job, bool mayWait);
    std::optional<std::string> startWorker() VMR_REQUIRES(mutex_);
    void work();
    /// Nothing when the thread shall end.
    std::optional<std::function<void()>> take();

    const std::string label_;
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;
    std::atomic<bool> reportedFailure_{false};

    Mutex mutex_;
    ConditionVariable changed_;
    std::list<std::function<void()>> waiting_ VMR_GUARDED_BY(mutex_);
    bool hasWorker_ VMR_GUARDED_BY(mutex_) = false;
    bool closed_ VMR_GUARDED_BY(mutex_) = false;
};

/// Queues that are closed with their last handle.
class ThreadSerialQueues final : public SerialQueues {
public:
    ThreadSerialQueues(const std::shared_ptr<SystemLog> &log,
                       const std::shared_ptr<Activity> &activity)
        : log_(log), activity_(activity) {}
    std::shared_ptr<SerialQueue> make(std::string label) override;

private:
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;
};

} // namespace vmr
