#pragma once

#include <pthread.h>

#include <climits>
#include <memory>
#include <new>

namespace vmr {

/// An object of each thread, made at the thread's first use and destroyed at its end. For want of
/// memory it is a std::bad_alloc, where a thread_local object with a destructor ends the process.
/// For objects that are never destroyed.
template <class Object>
class OfThread {
public:
    OfThread() noexcept {
        if (::pthread_key_create(&key_,
                                 [](void *object) { delete static_cast<Object *>(object); }) != 0)
            key_ = PTHREAD_KEYS_MAX; // no key: get() throws
    }

    Object &get() const {
        if (void *object = ::pthread_getspecific(key_))
            return *static_cast<Object *>(object);
        auto made = std::make_unique<Object>();
        if (::pthread_setspecific(key_, made.get()) != 0)
            throw std::bad_alloc();
        return *made.release();
    }

private:
    pthread_key_t key_ = 0;
};

} // namespace vmr
