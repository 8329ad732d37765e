#pragma once

#include "page/Journal.h"

namespace velmora::page {

/// Everything about a request but its items' consents. Made anew from what came.
nlohmann::ordered_json detailOf(const Exchange &exchange, const ingest::Credentials &credentials);

/// One item of it, with its consent in words and against the same device's consent before it; null
/// when there is no such item.
nlohmann::ordered_json itemDetailOf(const Exchange &exchange, std::size_t index,
                                    const Journal &journal);

/// The body unpacked, or as it came when it is not gzip.
std::string clearBodyOf(const Exchange &exchange);

} // namespace velmora::page
