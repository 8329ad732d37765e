#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define VMR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VMR_THREAD_ANNOTATION(x)
#endif

#define VMR_GUARDED_BY(x) VMR_THREAD_ANNOTATION(guarded_by(x))
#define VMR_REQUIRES(...) VMR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VMR_EXCLUDES(...) VMR_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace vmr {

/// std::mutex with the annotations that let clang check which members it guards.
class VMR_THREAD_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() VMR_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    bool try_lock() VMR_THREAD_ANNOTATION(try_acquire_capability(true)) {
        return mutex_.try_lock();
    }
    void unlock() VMR_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

class VMR_THREAD_ANNOTATION(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex &mutex) VMR_THREAD_ANNOTATION(acquire_capability(mutex))
        : mutex_(mutex) {
        mutex_.lock();
    }
    ~MutexLock() VMR_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

private:
    Mutex &mutex_;
};

/// Waits on a Mutex that the caller holds.
using ConditionVariable = std::condition_variable_any;

} // namespace vmr
