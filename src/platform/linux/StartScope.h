#pragma once

namespace vmr {

/// While one lives on a thread, what that thread does starts no other thread: a service that needs
/// one has it started from the main run loop's queue instead. The start call holds one.
class StartScope {
public:
    StartScope() noexcept { ++depth; }
    ~StartScope() { --depth; }
    StartScope(const StartScope &) = delete;
    StartScope &operator=(const StartScope &) = delete;

    static bool isActive() noexcept { return depth > 0; }

private:
    static inline thread_local constinit int depth = 0;
};

} // namespace vmr
