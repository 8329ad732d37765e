#pragma once

#include <VelmoraKit/velmora.h>

#include <utility>

namespace vmr::api {

/// What an observer of the host's is called with; released at its end, also where no observer was
/// made. Whoever is inside a call holds a handle, so that is only after the last call has returned.
class HostContext {
public:
    HostContext(void *context, velmora_release_callback release)
        : context_(context), release_(release) {}
    HostContext(HostContext &&other) noexcept
        : context_(other.context_), release_(std::exchange(other.release_, nullptr)) {}
    ~HostContext() {
        if (release_ == nullptr)
            return;
        try {
            release_(context_);
        } catch (...) { // of a host written in C++: there is nobody to hand it to
        }
    }

    void *get() const noexcept { return context_; }

private:
    void *const context_;
    velmora_release_callback release_;
};

} // namespace vmr::api
