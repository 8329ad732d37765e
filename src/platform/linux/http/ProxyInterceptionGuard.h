#pragma once

#include "platform/InterceptionGuard.h"
#include "platform/Mutex.h"

#include <string>
#include <string_view>

namespace vmr {

class SystemLog;

/// Refuses when the environment would have the traffic pass through a proxy, or has the keys of
/// TLS connections written out. The environment is read anew for every decision, the way curl
/// reads it: lower case names first, `http_proxy` in lower case alone, empty means unset.
class ProxyInterceptionGuard final : public InterceptionGuard {
public:
    /// `allowProxy`: the host knows of the proxy and wants it. Written-out keys are never allowed.
    ProxyInterceptionGuard(bool allowProxy, SystemLog &log) : allowProxy_(allowProxy), log_(log) {}

    /// A reason to refuse is also told in the log, once until another one comes: only who starts
    /// the program can mend it.
    Decision decide(const std::string &url) const override;

private:
    /// Why not; empty where it may.
    std::string refusal(std::string_view url) const;

    const bool allowProxy_;
    SystemLog &log_;
    mutable Mutex mutex_;
    mutable std::string told_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
