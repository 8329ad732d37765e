#pragma once

#include "ingest/Request.h"

struct MHD_Connection;

namespace velmora::collect {

/// The address at the other end of the connection.
std::string peerOf(MHD_Connection *connection);

/// The address that the nearest proxy has put behind all others in X-Forwarded-For, into the last
/// header or as one more; `peer` when there is none.
std::string forwardedPeer(const ingest::Request &request, std::string peer);

} // namespace velmora::collect
