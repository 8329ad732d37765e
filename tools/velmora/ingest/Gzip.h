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

/// How long the content is, as the bytes say themselves, modulo 2^32.
std::size_t promisedLength(std::string_view bytes);

/// The member says of itself that it was made at the best level (9).
bool isBestCompression(const std::string &bytes);

} // namespace velmora::ingest
