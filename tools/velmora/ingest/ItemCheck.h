#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

namespace velmora::ingest {

/// What is wrong with each item of a batch, in the batch's order. `identifier` is the envelope's
/// "uuid": the consent items' identifiers were made either all with it or all with one that the
/// service does not know, and equal items have equal identifiers either way.
std::vector<Problems> checkItems(Kind kind, const nlohmann::json &batch,
                                 const std::string &identifier);

/// Whether a sound consent item's identifier was made with `identifier`, its string and its date.
bool isMadeWith(const nlohmann::json &item, const std::string &identifier);

} // namespace velmora::ingest
