#pragma once

#include "platform/InterceptionGuard.h"

#include <functional>
#include <optional>

namespace vmr {

/// Refuses when the environment would have the traffic pass through a proxy, or has the keys of
/// TLS connections written out. The environment is read anew for every decision, the way curl
/// reads it: lower case names first, `http_proxy` in lower case alone, empty means unset.
class ProxyInterceptionGuard final : public InterceptionGuard {
public:
    /// A variable of the environment, or nothing when it is not set.
    using Environment = std::function<std::optional<std::string>(const char *name)>;

    /// `allowProxy`: the host knows of the proxy and wants it. Written-out keys are never allowed.
    explicit ProxyInterceptionGuard(bool allowProxy);
    ProxyInterceptionGuard(bool allowProxy, Environment environment);

    Decision decide(const std::string &url) const override;

private:
    std::optional<std::string> valueOf(const char *name) const;

    const bool allowProxy_;
    const Environment environment_;
};

} // namespace vmr
