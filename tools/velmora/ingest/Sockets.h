#pragma once

#include <sys/types.h>

#include <cstdint>

namespace velmora::ingest {

/// The own port of a connection, not of a socket that listens; -1 for anything else.
int portOfConnection(int descriptor);

/// Names a descriptor's file, whatever other descriptors it has; 0 for none.
ino_t inodeOf(int descriptor);

/// How many bytes this process has taken from the connection.
std::uint64_t bytesReadFrom(int descriptor);

} // namespace velmora::ingest
