#include "platform/linux/loops/ThreadSerialQueues.h"

#include "platform/Activity.h"
#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/Mutex.h"
#include "platform/SystemLog.h"
#include "platform/linux/AllSignalsBlocked.h"

#include <pthread.h>

#include <exception>
#include <functional>
#include <list>
#include <optional>
#include <thread>
#include <utility>

namespace vmr {
namespace {

/// Shared by its handle and its worker, which may outlive the handle.
class ThreadSerialQueue final : public SerialQueue,
                                public std::enable_shared_from_this<ThreadSerialQueue> {
public:
    ThreadSerialQueue(std::string label, const std::shared_ptr<SystemLog> &log,
                      const std::shared_ptr<Activity> &activity)
        : label_(std::move(label)), log_(log), activity_(activity) {}

    void async(std::function<void()> job) override {
        activity_->begin();
        std::string failure;
        {
            const MutexLock lock(mutex_);
            waiting_.push_back(std::move(job));
            if (hasWorker_)
                changed_.notify_one();
            else
                failure = startWorker();
        }
        if (!failure.empty())
            log_->write(failure);
    }

    void close() {
        const MutexLock lock(mutex_);
        closed_ = true;
        changed_.notify_one();
        // The last chance of jobs that could get no thread so far.
        if (!hasWorker_ && !waiting_.empty())
            startWorker();
    }

private:
    /// Gives the line to log when it did not work.
    std::string startWorker() VMR_REQUIRES(mutex_) {
        try {
            const AllSignalsBlocked blocked;
            std::thread([self = shared_from_this()] { self->work(); }).detach();
            hasWorker_ = true;
            return {};
        } catch (const std::exception &error) {
            if (std::exchange(reportedFailure_, true))
                return {};
            return formatText(
                "VelmoraKit: the queue \"%@\" gets no thread: %@. Its jobs wait; it tries "
                "again with the next one",
                label_, error.what());
        }
    }

    void work() {
        // The kernel keeps 15 characters of a thread's name.
        pthread_setname_np(pthread_self(), label_.substr(0, 15).c_str());
        while (auto job = take()) {
            callGuarded(*log_, "A job of a serial queue", *job);
            // What the job holds goes before it counts as done.
            job.reset();
            activity_->end();
        }
    }

    std::optional<std::function<void()>> take() {
        const MutexLock lock(mutex_);
        while (waiting_.empty()) {
            if (closed_)
                return std::nullopt;
            changed_.wait(mutex_);
        }
        auto job = std::move(waiting_.front());
        waiting_.pop_front();
        return job;
    }

    const std::string label_;
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;

    Mutex mutex_;
    ConditionVariable changed_;
    std::list<std::function<void()>> waiting_ VMR_GUARDED_BY(mutex_);
    bool hasWorker_ VMR_GUARDED_BY(mutex_) = false;
    bool closed_ VMR_GUARDED_BY(mutex_) = false;
    bool reportedFailure_ VMR_GUARDED_BY(mutex_) = false;
};

} // namespace

ThreadSerialQueues::ThreadSerialQueues(const std::shared_ptr<SystemLog> &log,
                                       const std::shared_ptr<Activity> &activity)
    : log_(log), activity_(activity) {}

std::shared_ptr<SerialQueue> ThreadSerialQueues::make(std::string label) {
    const auto queue = std::make_shared<ThreadSerialQueue>(std::move(label), log_, activity_);
    return {queue.get(), [queue](ThreadSerialQueue *) { queue->close(); }};
}

} // namespace vmr
