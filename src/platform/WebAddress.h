#pragma once

#include "platform/PlatformError.h"

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// The parts of an absolute address ("scheme://host...") that decide where its traffic goes. Read
/// strictly: what two readers could understand differently is not an address.
struct WebAddress {
    /// Lower case.
    std::string scheme;
    /// Lower case, an IPv6 literal without its brackets; never empty.
    std::string host;
    /// Digits, or empty when the scheme's own port is meant.
    std::string port;
    bool hasUserInfo = false;
    bool hasQueryOrFragment = false;

    /// Nothing for text without a scheme, without a host, or with a host or port of other
    /// characters than names, IPv4 and bracketed IPv6 literals have.
    static std::optional<WebAddress> parse(std::string_view text);

    /// The address, or why no request may go there, as an error of NSURLErrorDomain that says it
    /// in detail.
    static Expected<WebAddress> forRequest(std::string_view text);

    /// 127.0.0.0/8, ::1 or localhost.
    bool isLoopback() const;
    /// "443" for https and "80" for http when the address names no port.
    std::string_view effectivePort() const;
};

/// The text with every character that no address may hold written as "%XX". What is encoded
/// already stays: "a b%20%zz" gives "a%20b%20%25zz".
std::string percentEncodedAddress(std::string_view text);

} // namespace vmr
