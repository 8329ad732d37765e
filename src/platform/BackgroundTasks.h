#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace vmr {

/// Asks the system to let the process finish something while it is in the background. On systems
/// without such a notion nothing happens.
class BackgroundTasks {
public:
    using Identifier = std::uint64_t;
    /// UIBackgroundTaskInvalid.
    static constexpr Identifier invalid = 0;

    virtual Identifier beginBackgroundTask(const std::string &name,
                                           std::function<void()> expirationHandler) = 0;
    virtual void endBackgroundTask(Identifier task) = 0;

protected:
    ~BackgroundTasks() = default;
};

} // namespace vmr
