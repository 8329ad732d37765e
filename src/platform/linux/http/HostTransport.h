#pragma once

#include "platform/HTTPSession.h"

#include <cstdint>

namespace vmr {

/// What a host sends requests with; called on the main run loop's thread, one call at a time.
struct HostTransport {
    /// Must not block. The request is valid during the call.
    void (*start)(const void *context, std::uint64_t id, const HTTPRequest &request) = nullptr;
    /// May be null.
    void (*cancel)(const void *context, std::uint64_t id) = nullptr;
    const void *context = nullptr;
    /// In seconds.
    double timeout = 60;
};

} // namespace vmr
