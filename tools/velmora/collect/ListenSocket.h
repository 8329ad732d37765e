#pragma once

#include "ingest/Endpoint.h"

#include <optional>

namespace velmora::collect {

/// A socket that listens at the endpoint, whose port is set when it was left open. Throws
/// std::runtime_error with a sentence that names the option.
int listenAt(ingest::Endpoint &endpoint, const std::string &option);

/// The socket that the service manager listens with and handed over; nothing when it did not.
std::optional<int> socketFromManager();

/// Where a socket listens.
ingest::Endpoint endpointOf(int descriptor);

/// Tells the service manager a state, for instance "READY=1"; without one nothing happens.
void tellManager(const std::string &state);

} // namespace velmora::collect
