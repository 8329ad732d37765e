#include "platform/linux/http/ProxyInterceptionGuard.h"

#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/ProxyExceptions.h"

#include <algorithm>
#include <cstdlib>
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

const char *ProxyInterceptionGuard::firstSet(std::initializer_list<const char *> names) const {
    const auto *const found = std::ranges::find_if(
        names, [this](const char *name) { return !environment_(name).value_or("").empty(); });
    return found == names.end() ? nullptr : *found;
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
    if (firstSet({"SSLKEYLOGFILE"}) != nullptr)
        return {false, "The environment variable SSLKEYLOGFILE has the keys of TLS connections "
                       "written to a file; start the program without it"};

    // What is no address fails in the session, with its own error.
    const std::optional<WebAddress> address = WebAddress::parse(percentEncodedAddress(url));
    if (allowProxy_ || !address)
        return {};
    const char *const exceptions = firstSet({"no_proxy", "NO_PROXY"});
    if (exceptions != nullptr && isProxyException(environment_(exceptions).value_or(""), *address))
        return {};
    // In upper case HTTP_PROXY is a request header as CGI programs see it, which anyone can send.
    const char *const proxy =
        address->scheme == "http"
            ? firstSet({"http_proxy", "all_proxy", "ALL_PROXY"})
            : firstSet({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
    if (proxy == nullptr)
        return {};
    return {false,
            formatText("The environment variable %@ names a proxy for %@; unset it, name the host "
                       "in no_proxy, or allow the proxy in the start options",
                       proxy, address->host)};
}

} // namespace vmr
