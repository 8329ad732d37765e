#pragma once

#include <semaphore.h>

namespace vmr {

/// A counting semaphore; any thread may signal what another one waited for. The C++ library's own
/// may sleep for ever in GCC 12 (its bug 104928).
class Semaphore {
public:
    explicit Semaphore(unsigned count) noexcept { ::sem_init(&semaphore_, 0, count); }
    ~Semaphore() { ::sem_destroy(&semaphore_); }
    Semaphore(const Semaphore &) = delete;
    Semaphore &operator=(const Semaphore &) = delete;

    /// Waits without time-out until the count is above 0, and takes one.
    void wait() noexcept {
        while (::sem_wait(&semaphore_) != 0) { // a signal came
        }
    }
    void signal() noexcept { ::sem_post(&semaphore_); }

private:
    sem_t semaphore_{};
};

} // namespace vmr
