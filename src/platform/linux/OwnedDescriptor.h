#pragma once

#include <unistd.h>

#include <utility>

namespace vmr {

/// A file descriptor that is closed with its owner. -1: none.
class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    OwnedDescriptor(OwnedDescriptor &&other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor &operator=(OwnedDescriptor &&other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~OwnedDescriptor() {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }

    int get() const noexcept { return descriptor_; }
    /// Leaves it to the caller.
    int release() noexcept { return std::exchange(descriptor_, -1); }
    explicit operator bool() const noexcept { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

} // namespace vmr
