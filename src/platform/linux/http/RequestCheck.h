#pragma once

#include "platform/HTTPSession.h"

namespace vmr {

/// What every request must be before it may go out, whoever sends it: an address that is allowed,
/// a method and headers that HTTP has. Gives it the form it is sent in: the address
/// percent-encoded, the method named, no Content-Length, which is the sender's. False with what
/// forbids it as the outcome; then nothing of it may be sent.
bool checkRequest(HTTPRequest &request, HTTPOutcome &outcome);

} // namespace vmr
