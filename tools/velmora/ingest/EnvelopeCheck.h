#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

namespace velmora::ingest {

/// What is wrong with the entries beside "batch". `bundleHeader` is X-Bundle-Identifier.
Findings checkEnvelope(Kind kind, const nlohmann::json &envelope,
                       const std::optional<std::string> &bundleHeader);

} // namespace velmora::ingest
