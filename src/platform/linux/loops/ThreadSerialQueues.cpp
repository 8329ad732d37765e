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

/// What the handle and the worker share; the worker may outlive the handle.
class Jobs {
public:
    Jobs(std::string label, const std::shared_ptr<SystemLog> &log,
         const std::shared_ptr<Activity> &activity)
        : label_(std::move(label)), log_(log), activity_(activity) {}

    const std::string &label() const noexcept { return label_; }

    static void add(const std::shared_ptr<Jobs> &jobs, std::function<void()> job) {
        jobs->activity_->begin();
        std::string failure;
        {
            const MutexLock lock(jobs->mutex_);
            jobs->waiting_.push_back(std::move(job));
            if (jobs->hasWorker_)
                jobs->changed_.notify_one();
            else
                failure = jobs->startWorker(jobs);
        }
        if (!failure.empty())
            jobs->log_->write(failure);
    }

    static void close(const std::shared_ptr<Jobs> &jobs) {
        const MutexLock lock(jobs->mutex_);
        jobs->closed_ = true;
        jobs->changed_.notify_one();
        // The last chance of jobs that could get no thread so far.
        if (!jobs->hasWorker_ && !jobs->waiting_.empty())
            jobs->startWorker(jobs);
    }

private:
    /// Gives the line to log when it did not work.
    std::string startWorker(std::shared_ptr<Jobs> self) VMR_REQUIRES(mutex_) {
        try {
            const AllSignalsBlocked blocked;
            std::thread([self = std::move(self)] { self->work(); }).detach();
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

class ThreadSerialQueue final : public SerialQueue {
public:
    explicit ThreadSerialQueue(std::shared_ptr<Jobs> jobs) : jobs_(std::move(jobs)) {}
    ~ThreadSerialQueue() override { Jobs::close(jobs_); }

    void async(std::function<void()> job) override { Jobs::add(jobs_, std::move(job)); }
    const std::string &label() const noexcept override { return jobs_->label(); }

private:
    const std::shared_ptr<Jobs> jobs_;
};

} // namespace

ThreadSerialQueues::ThreadSerialQueues(const std::shared_ptr<SystemLog> &log,
                                       const std::shared_ptr<Activity> &activity)
    : log_(log), activity_(activity) {}

std::shared_ptr<SerialQueue> ThreadSerialQueues::make(std::string label) {
    return std::make_shared<ThreadSerialQueue>(
        std::make_shared<Jobs>(std::move(label), log_, activity_));
}

} // namespace vmr
