#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace vmr {

/// What a host may choose about its exchanges, and their bounds.
struct CurlOptions {
    /// PEM file of the authorities to trust instead of the system's.
    std::optional<std::string> certificateAuthorityFile;
    /// "sha256//" and the base64 digest of the service's public key, several joined with ";".
    std::optional<std::string> pinnedPublicKey;
    /// Whether the environment's proxy is used, which the host knows of; without it every
    /// connection is direct.
    bool allowProxy = false;
    /// An exchange in which nothing moves for this long has failed.
    std::chrono::milliseconds idleTimeout{60'000};
    /// And so has one that has not ended by then, however much moves: no other waits longer for it.
    std::chrono::milliseconds wholeTimeout{std::chrono::hours(24)};
    /// The most bytes of a response body, decoded.
    std::size_t responseLimit = std::size_t{1024} * 1024;
};

} // namespace vmr
