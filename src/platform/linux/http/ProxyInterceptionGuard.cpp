#include "platform/linux/http/ProxyInterceptionGuard.h"

#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/ProxyExceptions.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace vmr {

std::optional<std::string> ProxyInterceptionGuard::processEnvironment(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

ProxyInterceptionGuard::ProxyInterceptionGuard(bool allowProxy,
                                               const std::shared_ptr<SystemLog> &log,
                                               Environment environment)
    : allowProxy_(allowProxy), log_(log), environment_(std::move(environment)) {}

std::optional<std::string> ProxyInterceptionGuard::valueOf(const char *name) const {
    std::optional<std::string> value = environment_(name);
    if (value && value->empty())
        return std::nullopt;
    return value;
}

InterceptionGuard::Decision ProxyInterceptionGuard::decide(const std::string &url) const {
    Decision decision = decideQuietly(url);
    bool isNew = false;
    {
        const MutexLock lock(mutex_);
        isNew = told_ != decision.reason;
        told_ = decision.reason;
    }
    if (isNew && !decision.allowed)
        log_->write("VelmoraKit: requests cannot be sent: " + decision.reason, LogLevel::error);
    return decision;
}

InterceptionGuard::Decision ProxyInterceptionGuard::decideQuietly(const std::string &url) const {
    if (valueOf("SSLKEYLOGFILE"))
        return {false, "The environment variable SSLKEYLOGFILE has the keys of TLS connections "
                       "written to a file; start the program without it"};

    // What is no address fails in the session, with its own error.
    const std::optional<WebAddress> address = WebAddress::parse(percentEncodedAddress(url));
    if (allowProxy_ || !address)
        return {};
    for (const char *name : {"no_proxy", "NO_PROXY"}) {
        if (const std::optional<std::string> exceptions = valueOf(name)) {
            if (isProxyException(*exceptions, *address))
                return {};
            break;
        }
    }
    const std::initializer_list<const char *> secure = {"https_proxy", "HTTPS_PROXY", "all_proxy",
                                                        "ALL_PROXY"};
    // In upper case it is a request header as CGI programs see it, which anyone can send.
    const std::initializer_list<const char *> plain = {"http_proxy", "all_proxy", "ALL_PROXY"};
    for (const char *name : address->scheme == "http" ? plain : secure) {
        if (valueOf(name))
            return {
                false,
                formatText("The environment variable %@ names a proxy for %@; unset it, name the "
                           "host in no_proxy, or allow the proxy in the start options",
                           name, address->host)};
    }
    return {};
}

} // namespace vmr
