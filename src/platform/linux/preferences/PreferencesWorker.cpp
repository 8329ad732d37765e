#include "platform/linux/preferences/PreferencesWorker.h"

#include "platform/linux/AllSignalsBlocked.h"
#include "platform/linux/ServiceLoop.h"
#include "platform/linux/StartScope.h"

#include <exception>
#include <utility>

namespace vmr {

void PreferencesWorker::schedule(Job job, Duration delay) {
    const Moment moment = std::chrono::steady_clock::now() + delay;
    const MutexLock lock(mutex_);
    if (stopped_)
        return;
    std::optional<Moment> &due = due_[static_cast<std::size_t>(job)];
    if (!due || *due > moment) {
        due = moment;
        changed_.notify_one();
    }
    if (!thread_.joinable())
        start();
}

void PreferencesWorker::start() {
    if (StartScope::isActive())
        return startLater(0);
    const AllSignalsBlocked blocked;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::exception &) {
        // No thread, or no memory for one, to be had just now: the next job tries again, too, and
        // every write tries itself.
        startLater(1);
    }
}

void PreferencesWorker::startLater(double seconds) {
    if (startPosted_)
        return;
    loop_->schedule(seconds, [self = weak_from_this()] {
        if (const auto worker = self.lock())
            worker->startNow();
    });
    startPosted_ = true;
}

void PreferencesWorker::startNow() {
    const MutexLock lock(mutex_);
    startPosted_ = false;
    if (!stopped_ && !thread_.joinable() && nextDue())
        start();
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

std::optional<PreferencesWorker::Moment> PreferencesWorker::nextDue() const {
    std::optional<Moment> next;
    for (const auto &due : due_) {
        if (due && (!next || *due < *next))
            next = due;
    }
    return next;
}

void PreferencesWorker::run() {
    mutex_.lock();
    while (!stopped_) {
        const std::optional<Moment> next = nextDue();
        if (!next) {
            changed_.wait(mutex_);
            continue;
        }
        if (std::chrono::steady_clock::now() < *next) {
            changed_.wait_until(mutex_, *next);
            continue;
        }
        for (std::size_t job = 0; job < jobs && !stopped_; ++job) {
            if (due_[job] != next)
                continue;
            due_[job].reset();
            mutex_.unlock();
            work_(static_cast<Job>(job));
            mutex_.lock();
        }
    }
    mutex_.unlock();
}

} // namespace vmr
