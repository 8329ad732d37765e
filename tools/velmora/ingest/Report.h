#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

namespace velmora::ingest {

/// Checks a request from end to end. The entries are explained in the subcommand's help.
nlohmann::ordered_json report(const Request &request, const Credentials &credentials);

} // namespace velmora::ingest
