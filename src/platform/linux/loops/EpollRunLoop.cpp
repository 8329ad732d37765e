#include "platform/linux/loops/EpollRunLoop.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/SystemLog.h"
#include "platform/linux/SystemClock.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace vmr {
namespace {

// Without descriptors a running loop has to look for its work.
constexpr double secondsBetweenLooks = 0.02;

// Some thirty years; keeps moments ordered and within what a timer can be set to.
constexpr double longestDelay = 1e9;

double momentAfter(double delay) {
    // The comparison also turns a delay that is not a number into none.
    return monotonicSeconds() + (delay > 0 ? std::min(delay, longestDelay) : 0);
}

} // namespace

void EpollRunLoop::performAfterDelay(const DelayedCallKey &key, std::weak_ptr<const void> target,
                                     std::function<void()> call, double delay) {
    // Goes after the lock.
    DelayedCalls::Call added{key, std::move(target), std::move(call), momentAfter(delay)};
    const MutexLock lock(mutex_);
    calls_.add(std::move(added));
    armTimer();
}

void EpollRunLoop::cancelPreviousPerformRequests(const DelayedCallKey &key) {
    std::list<DelayedCalls::Call> cancelled; // what they hold goes after the lock
    const MutexLock lock(mutex_);
    cancelled = calls_.cancel(key);
    armTimer();
}

void EpollRunLoop::async(std::function<void()> work) {
    const MutexLock lock(mutex_);
    queue_.push_back(std::move(work));
    // A pass that is under way sees to it at its end.
    if (!processing_)
        descriptors_.wake();
}

void EpollRunLoop::schedule(double delay, std::function<void()> work) {
    performAfterDelay({}, {}, std::move(work), delay);
}

void EpollRunLoop::addDescriptor(int descriptor, std::function<void()> readable) {
    std::list<Watched> added{{descriptor, std::move(readable)}};
    int error = 0;
    {
        const MutexLock lock(mutex_);
        watched_.splice(watched_.end(), added);
        error = descriptors_.watch(descriptor);
    }
    report("watch a descriptor", error);
}

void EpollRunLoop::removeDescriptor(int descriptor) {
    std::list<Watched> removed; // what the callback holds goes after the lock
    const MutexLock lock(mutex_);
    if (const auto found = findWatched(descriptor); found != watched_.end()) {
        removed.splice(removed.end(), watched_, found);
        descriptors_.unwatch(descriptor);
    }
}

std::list<EpollRunLoop::Watched>::iterator EpollRunLoop::findWatched(int descriptor) {
    return std::ranges::find(watched_, descriptor, &Watched::descriptor);
}

int EpollRunLoop::descriptor() {
    int opened = -1;
    int error = 0;
    {
        const MutexLock lock(mutex_);
        error = openDescriptors();
        opened = descriptors_.epoll();
    }
    report("open its descriptors", error);
    return opened;
}

int EpollRunLoop::openDescriptors() {
    if (descriptors_.isOpen())
        return 0;
    int error = descriptors_.open();
    if (error != 0)
        return std::exchange(reportedFailure_, true) ? 0 : error;
    for (const Watched &watched : watched_) {
        if (const int refused = descriptors_.watch(watched.descriptor))
            error = refused;
    }
    armTimer();
    if (!queue_.empty() || stopping_)
        descriptors_.wake();
    return error;
}

void EpollRunLoop::report(std::string_view action, int error) {
    if (error != 0)
        log_.write(
            formatText("VelmoraKit: the run loop cannot %@: %@. Raise the limit of open files",
                       action, std::generic_category().message(error)));
}

void EpollRunLoop::armTimer() {
    descriptors_.arm(calls_.nextDue());
}

EpollRunLoop::State EpollRunLoop::state() const {
    const double now = monotonicSeconds();
    const MutexLock lock(mutex_);
    State state{calls_.count(), queue_.size(), calls_.nextDue(), processed_};
    if (state.secondsUntilDue)
        *state.secondsUntilDue -= now;
    if (state.secondsSinceProcessed)
        *state.secondsSinceProcessed = now - *processed_;
    return state;
}

void EpollRunLoop::process() {
    if (processing_)
        return;
    processing_ = true;
    // Guarded as a whole too, so that a pass that runs out of memory is not the last one.
    callGuarded(log_, "A pass of the run loop", [this] {
        descriptor();
        {
            const MutexLock lock(mutex_);
            descriptors_.clearWake();
        }
        runReadable();
        runDelayedCalls();
        drainQueue();
    });

    const MutexLock lock(mutex_);
    processing_ = false;
    processed_ = monotonicSeconds();
    armTimer();
    if (!queue_.empty())
        descriptors_.wake();
}

void EpollRunLoop::runReadable() {
    LoopDescriptors::Readable readable;
    {
        const MutexLock lock(mutex_);
        readable = descriptors_.readable();
    }
    for (int index = 0; index < readable.count; ++index) {
        std::function<void()> callback;
        {
            const MutexLock lock(mutex_);
            // It may be the loop's own, or removed by an earlier callback.
            const auto found =
                findWatched(readable.events[static_cast<std::size_t>(index)].data.fd);
            if (found != watched_.end())
                callback = found->readable;
        }
        if (callback)
            callGuarded(log_, "A callback of a watched descriptor", callback);
    }
}

void EpollRunLoop::runDelayedCalls() {
    const double now = monotonicSeconds();
    std::optional<std::uint64_t> pass;
    for (;;) {
        std::list<DelayedCalls::Call> next;
        {
            const MutexLock lock(mutex_);
            if (!pass)
                pass = calls_.beginPass();
            next = calls_.takeNext(now, *pass);
        }
        if (next.empty())
            return;
        const DelayedCalls::Call &call = next.front();
        callGuarded(log_, call.key.target ? "A delayed call" : "A scheduled task", call);
    }
}

void EpollRunLoop::drainQueue() {
    std::list<std::function<void()>> batch;
    {
        const MutexLock lock(mutex_);
        // Work that queues itself again waits for the next pass, so that a pass ends.
        batch.swap(queue_);
    }
    for (; !batch.empty(); batch.pop_front())
        callGuarded(log_, "A job of the main queue", batch.front());
}

bool EpollRunLoop::runUntil(double seconds, const std::function<bool()> &done) {
    if (processing_)
        return false;
    const double end = monotonicSeconds() + seconds;
    for (;;) {
        process();
        if (done && done())
            return true;
        if (takeStop())
            return false;
        const double left = end - monotonicSeconds();
        if (!(left > 0))
            return false;
        const int epoll = descriptor();
        LoopDescriptors::waitReadable(epoll,
                                      epoll >= 0 ? left : std::min(left, secondsBetweenLooks));
    }
}

void EpollRunLoop::stop() {
    const MutexLock lock(mutex_);
    stopping_ = true;
    descriptors_.wake();
}

bool EpollRunLoop::takeStop() {
    const MutexLock lock(mutex_);
    if (!std::exchange(stopping_, false))
        return false;
    if (queue_.empty())
        descriptors_.clearWake();
    return true;
}

void EpollRunLoop::wake() {
    const MutexLock lock(mutex_);
    descriptors_.wake();
}

bool EpollRunLoop::isIdle() const {
    const MutexLock lock(mutex_);
    return !processing_ && calls_.count() == 0 && queue_.empty();
}

} // namespace vmr
