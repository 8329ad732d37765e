#include "platform/linux/loops/ThreadSerialQueues.h"

#include "platform/Activity.h"
#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"
#include "platform/linux/AllSignalsBlocked.h"

#include <pthread.h>

#include <iterator>
#include <system_error>

namespace vmr {

void ThreadSerialQueue::async(std::function<void()> job) {
    const int error = add(std::move(job), true);
    if (error != 0 && !reportedFailure_.exchange(true))
        log_.write(formatText(
            "VelmoraKit: the queue \"%@\" gets no thread: %@. Its jobs wait; it tries again with "
            "the next one",
            label_, std::generic_category().message(error)));
}

bool ThreadSerialQueue::tryAsync(std::function<void()> job) {
    return add(std::move(job), false) == 0;
}

int ThreadSerialQueue::add(std::function<void()> &&job, bool mayWait) {
    Jobs added;
    added.push_back(std::move(job)); // the last that may throw before it counts as begun
    activity_.begin();
    int error = 0;
    {
        const MutexLock lock(mutex_);
        waiting_.splice(waiting_.end(), added);
        if (held_)
            changed_.notify_one();
        else
            error = startWorker();
        if (error == 0 || mayWait)
            return error;
        added.splice(added.end(), waiting_, std::prev(waiting_.end()));
    }
    activity_.end();
    return error;
}

void ThreadSerialQueue::close() {
    const MutexLock lock(mutex_);
    closed_ = true;
    changed_.notify_one();
    // The last chance of jobs that could get no thread so far.
    if (!held_ && !waiting_.empty())
        startWorker();
}

int ThreadSerialQueue::startWorker() {
    const AllSignalsBlocked blocked;
    const auto run = [](void *queue) -> void * {
        static_cast<ThreadSerialQueue *>(queue)->work();
        return nullptr;
    };
    pthread_t thread{};
    const int error = ::pthread_create(&thread, nullptr, run, this);
    if (error == 0) {
        ::pthread_detach(thread);
        held_ = shared_from_this();
    }
    return error;
}

void ThreadSerialQueue::work() {
    // The kernel keeps 15 characters of a thread's name.
    ::pthread_setname_np(::pthread_self(), label_.substr(0, 15).c_str());
    for (Jobs next = take(); !next.empty(); next = take()) {
        callGuarded(log_, "A job of a serial queue", next.front());
        // What the job holds goes before it counts as done.
        next.clear();
        activity_.end();
    }
    std::shared_ptr<ThreadSerialQueue> last; // goes after the lock
    const MutexLock lock(mutex_);
    last.swap(held_);
}

ThreadSerialQueue::Jobs ThreadSerialQueue::take() {
    Jobs next;
    const MutexLock lock(mutex_);
    while (waiting_.empty() && !closed_)
        changed_.wait(mutex_);
    if (!waiting_.empty())
        next.splice(next.end(), waiting_, waiting_.begin());
    return next;
}

std::shared_ptr<SerialQueue> ThreadSerialQueues::make(std::string label) {
    const auto queue = std::make_shared<ThreadSerialQueue>(std::move(label), log_, activity_);
    return {queue.get(), [queue](ThreadSerialQueue *) { queue->close(); }};
}

} // namespace vmr
