#pragma once

namespace vmr::api {

/// While one lives, on the main thread, the SDK stores something in several steps: who is told of
/// one of them cannot have it stopped.
class StoringScope {
public:
    StoringScope() noexcept { ++depth; }
    ~StoringScope() { --depth; }
    StoringScope(const StoringScope &) = delete;
    StoringScope &operator=(const StoringScope &) = delete;

    static bool isActive() noexcept { return depth > 0; }

private:
    static inline int depth = 0;
};

} // namespace vmr::api
