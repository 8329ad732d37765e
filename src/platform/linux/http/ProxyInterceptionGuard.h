#pragma once

#include "platform/InterceptionGuard.h"
#include "platform/Mutex.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

namespace vmr {

class SystemLog;

/// Refuses when the environment would have the traffic pass through a proxy, or has the keys of
/// TLS connections written out. The environment is read anew for every decision, the way curl
/// reads it: lower case names first, `http_proxy` in lower case alone, empty means unset.
class ProxyInterceptionGuard final : public InterceptionGuard {
public:
    /// A variable of the environment, or nothing when it is not set.
    using Environment = std::function<std::optional<std::string>(const char *name)>;

    /// `allowProxy`: the host knows of the proxy and wants it. Written-out keys are never allowed.
    ProxyInterceptionGuard(bool allowProxy, const std::shared_ptr<SystemLog> &log,
                           Environment environment = processEnvironment);

    /// A reason to refuse is also told in the log, once until another one comes: only who starts
    /// the program can mend it.
    Decision decide(const std::string &url) const override;

private:
    static std::optional<std::string> processEnvironment(const char *name);
    Decision decideQuietly(const std::string &url) const;
    /// Null where none is.
    const char *firstSet(std::initializer_list<const char *> names) const;

    const bool allowProxy_;
    const std::shared_ptr<SystemLog> log_;
    const Environment environment_;
    mutable Mutex mutex_;
    mutable std::string told_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
