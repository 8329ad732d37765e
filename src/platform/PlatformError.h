#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace vmr {

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
/// Its codes are those of errno.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";

/// The code of NSCocoaErrorDomain for text that cannot be parsed.
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;

/// The codes of NSURLErrorDomain.
enum class URLErrorCode : int {
    unknown = -1,
    cancelled = -999,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    notConnectedToInternet = -1009,
    cannotDecodeRawData = -1015,
    cannotParseResponse = -1017,
    appTransportSecurityRequiresSecureConnection = -1022,
    dataLengthExceedsMaximum = -1103,
    secureConnectionFailed = -1200,
    serverCertificateHasBadDate = -1201,
    serverCertificateUntrusted = -1202,
    serverCertificateHasUnknownRoot = -1203,
    serverCertificateNotYetValid = -1204,
};

/// Why a service, a file or a text did not give what it should: a permanent code within a domain,
/// and details. Without details it allocates nothing.
struct PlatformError {
    /// One of those above.
    std::string_view domain;
    std::int64_t code = 0;
    /// "NSLocalizedDescription" and "NSDebugDescription" are the texts the descriptions use.
    Dictionary userInfo;

    /// "Error Domain=D Code=42 "text" UserInfo={k=v}".
    std::string description() const;
    /// What happened in detail; "(null)" where nobody said.
    std::string debugDescription() const;
};

/// An error that says in detail what happened.
PlatformError platformError(std::string_view domain, std::int64_t code, std::string_view detail);

/// What was asked for, or why it cannot be had.
template <class Wanted>
using Expected = std::variant<Wanted, PlatformError>;

} // namespace vmr
