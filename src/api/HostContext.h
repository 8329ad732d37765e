#pragma once

#include <VelmoraKit/velmora.h>

#include <atomic>

namespace vmr::api {

/// A host written in C++ may let an exception out of its callback.
inline void releaseContext(velmora_release_callback release, void *context) noexcept {
    if (release == nullptr)
        return;
    try {
        release(context);
    } catch (...) { // there is nobody to hand it to
    }
}

/// What an observer of the host's is called with. Whoever is inside a call holds a handle, so the
/// context is released only after the last call has returned.
class HostContext {
public:
    HostContext(void *context, velmora_release_callback release)
        : context_(context), release_(release) {}
    ~HostContext() { releaseContext(release_, context_); }
    HostContext(const HostContext &) = delete;
    HostContext &operator=(const HostContext &) = delete;

    void *get() const noexcept { return context_; }
    void end() noexcept { ended_.store(true, std::memory_order_release); }
    bool hasEnded() const noexcept { return ended_.load(std::memory_order_acquire); }

private:
    void *const context_;
    const velmora_release_callback release_;
    std::atomic<bool> ended_{false};
};

} // namespace vmr::api
