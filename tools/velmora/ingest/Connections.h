#pragma once

namespace velmora::ingest {

/// Ends this process's connection between the two ports, so that nothing more goes over it. The
/// server's library has no way to leave a request without an answer.
void endConnection(int ownPort, int clientPort);

} // namespace velmora::ingest
