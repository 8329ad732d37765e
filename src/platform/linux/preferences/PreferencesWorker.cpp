#include "platform/linux/preferences/PreferencesWorker.h"

#include "platform/linux/AllSignalsBlocked.h"
#include "platform/linux/StartScope.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vmr {

void PreferencesWorker::schedule(Job job, Duration delay) {
    const Moment moment = std::chrono::steady_clock::now() + delay;
    const MutexLock lock(mutex_);
    if (stopped_)
        return;
    Moment &due = due_[static_cast<std::size_t>(job)];
    if (moment < due) {
        due = moment;
        changed_.notify_one();
    }
    startIfNeeded();
}

void PreferencesWorker::start() {
    const MutexLock lock(mutex_);
    startPosted_ = false;
    if (!stopped_)
        startIfNeeded();
}

void PreferencesWorker::startIfNeeded() {
    if (thread_.joinable())
        return;
    if (StartScope::isActive())
        return startLater(Duration(0));
    const AllSignalsBlocked blocked;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::exception &) {
        // No thread, or no memory for one, to be had just now: the next job tries again, too, and
        // every write tries itself.
        startLater(std::chrono::seconds(1));
    }
}

void PreferencesWorker::startLater(Duration delay) {
    if (startPosted_)
        return;
    startLater_(delay);
    startPosted_ = true;
}

void PreferencesWorker::stop() {
    std::thread ending;
    {
        const MutexLock lock(mutex_);
        stopped_ = true;
        ending = std::move(thread_);
        changed_.notify_one();
    }
    if (ending.joinable())
        ending.join();
}

void PreferencesWorker::run() {
    mutex_.lock();
    while (!stopped_) {
        const auto next = std::ranges::min_element(due_);
        if (*next == never) {
            changed_.wait(mutex_);
        } else if (std::chrono::steady_clock::now() < *next) {
            const Moment due = *next; // it is looked at without the lock, too
            changed_.wait_until(mutex_, due);
        } else {
            *next = never;
            const auto job = static_cast<Job>(next - due_.begin());
            mutex_.unlock();
            work_(job);
            mutex_.lock();
        }
    }
    mutex_.unlock();
}

} // namespace vmr
