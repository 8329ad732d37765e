#pragma once

#include "platform/HTTPSession.h"

#include <cstdint>
#include <functional>

namespace vmr {

/// What a host sends requests with; called on the main run loop's thread, one call at a time.
struct HostTransport {
    /// Must not block. The request is valid during the call.
    std::function<void(std::uint64_t id, const HTTPRequest &request)> start;
    /// May be empty.
    std::function<void(std::uint64_t id)> cancel;
    /// In seconds.
    double timeout = 60;
};

} // namespace vmr
