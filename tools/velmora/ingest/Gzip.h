#pragma once

#include "ingest/Request.h"

namespace velmora::ingest {

struct GzipText {
    /// Empty when the bytes are sound gzip; `text` then holds what was in them.
    std::string problem;
    std::string text;
};

/// Reads one gzip member of at most 64 MiB of content that nothing follows.
GzipText readGzip(const std::string &bytes);

/// The member says of itself that it was made at the best level (9).
bool isBestCompression(const std::string &bytes);

} // namespace velmora::ingest
