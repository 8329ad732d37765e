#pragma once

#include <string>

namespace vmr {

/// Decides whether traffic to an address would go straight to its service, and tells the system log
/// why not. Safe from any thread.
class InterceptionGuard {
public:
    struct Decision {
        bool allowed = true;
        /// One line for people: what was found and how a host allows it. Empty when nothing was.
        std::string reason;
    };

    virtual Decision decide(const std::string &url) const = 0;

protected:
    ~InterceptionGuard() = default;
};

} // namespace vmr
