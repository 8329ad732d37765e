#include "platform/linux/http/ProxyInterceptionGuard.h"

#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/ProxyExceptions.h"

#include <cstdlib>
#include <initializer_list>
#include <optional>

namespace vmr {

namespace {

struct Variable {
    const char *name;
    const char *value;
};

/// The first of the environment that is not empty; without a value where none is.
Variable firstSet(std::initializer_list<const char *> names) {
    for (const char *name : names) {
        const char *value = std::getenv(name);
        if (value != nullptr && *value != '\0')
            return {name, value};
    }
    return {nullptr, nullptr};
}

} // namespace

InterceptionGuard::Decision ProxyInterceptionGuard::decide(const std::string &url) const {
    Decision decision;
    decision.reason = refusal(url);
    decision.allowed = decision.reason.empty();
    bool isNew = false;
    {
        const MutexLock lock(mutex_);
        isNew = told_ != decision.reason;
        told_ = decision.reason;
    }
    if (isNew && !decision.allowed)
        log_.write("VelmoraKit: requests cannot be sent: " + decision.reason, LogLevel::error);
    return decision;
}

std::string ProxyInterceptionGuard::refusal(std::string_view url) const {
    if (firstSet({"SSLKEYLOGFILE"}).value != nullptr)
        return "The environment variable SSLKEYLOGFILE has the keys of TLS connections written to "
               "a file; start the program without it";

    // What is no address fails in the session, with its own error.
    const std::optional<WebAddress> address = WebAddress::parse(percentEncodedAddress(url));
    if (allowProxy_ || !address)
        return {};
    const Variable exceptions = firstSet({"no_proxy", "NO_PROXY"});
    if (exceptions.value != nullptr && isProxyException(exceptions.value, *address))
        return {};
    // In upper case HTTP_PROXY is a request header as CGI programs see it, which anyone can send.
    const Variable proxy = address->scheme == "http"
                               ? firstSet({"http_proxy", "all_proxy", "ALL_PROXY"})
                               : firstSet({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
    if (proxy.value == nullptr)
        return {};
    return formatText("The environment variable %@ names a proxy for %@; unset it, name the host "
                      "in no_proxy, or allow the proxy in the start options",
                      proxy.name, address->host);
}

} // namespace vmr
