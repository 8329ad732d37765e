#include "support/TestPlatform.h"

#include <deque>
#include <thread>

namespace vmr::test {
namespace {

class ThreadQueue final : public SerialQueue {
public:
    explicit ThreadQueue(std::shared_ptr<ThreadQueues::Jobs> counts) {
        shared_->counts = std::move(counts);
    }
    void async(std::function<void()> job) override {
        const MutexLock lock(shared_->mutex);
        shared_->jobs.push_back(std::move(job));
        if (shared_->jobs.size() == 1)
            std::thread([shared = shared_] { run(*shared); }).detach();
    }

private:
    struct Shared {
        std::shared_ptr<ThreadQueues::Jobs> counts;
        Mutex mutex;
        std::deque<std::function<void()>> jobs VMR_GUARDED_BY(mutex);
    };

    /// Until no job is left; the one that is running stands for itself at the front.
    static void run(Shared &shared) {
        for (bool left = true; left;) {
            std::function<void()> job;
            {
                const MutexLock lock(shared.mutex);
                job = std::move(shared.jobs.front());
            }
            ++shared.counts->begun;
            job();
            ++shared.counts->ended;
            const MutexLock lock(shared.mutex);
            shared.jobs.pop_front();
            left = !shared.jobs.empty();
        }
    }

    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

} // namespace

void DirectNotificationCenter::addObserver(std::weak_ptr<void> observer, std::string_view name,
                                           std::function<void(const Notification &)> handler) {
    const auto alive = observer.lock();
    registrations_.push_back(
        {std::move(observer), alive.get(), std::string(name), std::move(handler)});
}

void DirectNotificationCenter::removeObserver(const void *observer) {
    std::erase_if(registrations_, [&](const Registration &registration) {
        return registration.identity == observer;
    });
}

void DirectNotificationCenter::postNotification(std::string_view name, const void *object) {
    const auto registrations = registrations_;
    for (const auto &registration : registrations) {
        if (registration.name != name)
            continue;
        if (const auto observer = registration.observer.lock())
            registration.handler(Notification{name, object});
    }
}

std::shared_ptr<SerialQueue> ThreadQueues::make(std::string) {
    return std::make_shared<ThreadQueue>(jobs);
}

TestPlatform::TestPlatform() {
    Platform services;
    services.advertisingIdentity = advertising.get();
    services.backgroundTasks = backgroundTasks.get();
    services.clock = clock.get();
    services.currentDevice = device.get();
    services.httpSession = http.get();
    services.interceptionGuard = guard.get();
    services.mainBundle = bundle.get();
    services.notificationCenter = notifications.get();
    services.preferences = preferences.get();
    services.runLoops = loops.get();
    services.serialQueues = queues.get();
    services.systemLog = log.get();
    installPlatform(services);
    // A queue's thread may still look at them when the test is over.
    static auto &kept = *new std::deque<std::shared_ptr<void>>;
    kept.insert(kept.end(), {advertising, backgroundTasks, clock, device, http, guard, bundle,
                             notifications, preferences, loops, queues, log});
}

} // namespace vmr::test
