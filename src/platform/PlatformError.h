#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vmr {

/// A failure reported by a service: a permanent code within a domain, and details.
struct PlatformError {
    std::string domain;
    std::int64_t code = 0;
    /// "NSLocalizedDescription" and "NSDebugDescription" are the texts the descriptions use.
    Dictionary userInfo;

    /// "Error Domain=D Code=42 "text" UserInfo={k=v}".
    std::string description() const;
    std::string localizedDescription() const;
};

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";

/// The code of NSCocoaErrorDomain for text that cannot be parsed.
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;

} // namespace vmr
