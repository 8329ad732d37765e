#include "platform/linux/loops/ThreadSerialQueues.h"

#include "platform/Activity.h"
#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"
#include "platform/linux/AllSignalsBlocked.h"

#include <pthread.h>

#include <exception>
#include <functional>
#include <iterator>
#include <thread>
#include <utility>

namespace vmr {

ThreadSerialQueue::ThreadSerialQueue(std::string label, const std::shared_ptr<SystemLog> &log,
                                     const std::shared_ptr<Activity> &activity)
    : label_(std::move(label)), log_(log), activity_(activity) {}

void ThreadSerialQueue::async(std::function<void()> job) {
    const std::optional<std::string> failure = add(std::move(job), true);
    if (failure && !reportedFailure_.exchange(true))
        log_->write(formatText(
            "VelmoraKit: the queue \"%@\" gets no thread: %@. Its jobs wait; it tries again with "
            "the next one",
            label_, *failure));
}

bool ThreadSerialQueue::tryAsync(std::function<void()> job) {
    return !add(std::move(job), false);
}

std::optional<std::string> ThreadSerialQueue::add(std::function<void()> &&job, bool mayWait) {
    std::list<std::function<void()>> added;
    added.push_back(std::move(job)); // the last that may throw before it counts as begun
    activity_->begin();
    std::optional<std::string> failure;
    {
        const MutexLock lock(mutex_);
        waiting_.splice(waiting_.end(), added);
        if (hasWorker_)
            changed_.notify_one();
        else
            failure = startWorker();
        if (!failure || mayWait)
            return failure;
        added.splice(added.end(), waiting_, std::prev(waiting_.end()));
    }
    activity_->end();
    return failure;
}

void ThreadSerialQueue::close() {
    const MutexLock lock(mutex_);
    closed_ = true;
    changed_.notify_one();
    // The last chance of jobs that could get no thread so far.
    if (!hasWorker_ && !waiting_.empty())
        startWorker();
}

std::optional<std::string> ThreadSerialQueue::startWorker() {
    try {
        const AllSignalsBlocked blocked;
        std::thread([self = shared_from_this()] { self->work(); }).detach();
        hasWorker_ = true;
        return std::nullopt;
    } catch (const std::exception &error) {
        return error.what();
    }
}

void ThreadSerialQueue::work() {
    // The kernel keeps 15 characters of a thread's name.
    pthread_setname_np(pthread_self(), label_.substr(0, 15).c_str());
    while (auto job = take()) {
        callGuarded(*log_, "A job of a serial queue", *job);
        // What the job holds goes before it counts as done.
        job.reset();
        activity_->end();
    }
}

std::optional<std::function<void()>> ThreadSerialQueue::take() {
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

std::shared_ptr<SerialQueue> ThreadSerialQueues::make(std::string label) {
    const auto queue = std::make_shared<ThreadSerialQueue>(std::move(label), log_, activity_);
    return {queue.get(), [queue](ThreadSerialQueue *) { queue->close(); }};
}

} // namespace vmr
