#pragma once

#include "platform/WebAddress.h"

#include <string_view>

namespace vmr {

/// Whether a list of exceptions ("no_proxy") names the address. Entries are separated by commas or
/// blanks: "*" for every host, a domain with or without a leading dot for it and its subdomains,
/// an IPv4 or IPv6 literal, a network ("10.0.0.0/8"), each but the last with ":port" if wanted.
bool isProxyException(std::string_view list, const WebAddress &address);

} // namespace vmr
