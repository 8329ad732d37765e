#pragma once

#include "platform/HTTPSession.h"

#include <optional>

namespace vmr {

/// What every request must be before it may go out, whoever sends it: an address that is allowed,
/// a method and headers that HTTP has. Gives it the form it is sent in: the address
/// percent-encoded, the method named, no Content-Length, which is the sender's. What forbids it, if
/// anything does; then nothing of it may be sent.
std::optional<PlatformError> checkRequest(HTTPRequest &request);

} // namespace vmr
