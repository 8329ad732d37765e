#pragma once

#include "ingest/Request.h"

namespace velmora::ingest {

/// The resource that the address names; empty when there is none there.
std::optional<Kind> kindOfTarget(const std::string &target);

/// Everything about method, address and headers apart from the signature.
Findings checkHead(const Request &request, std::optional<Kind> kind);

/// How often a header is there, whatever the case of its name.
std::size_t countHeader(const Request &request, std::string_view name);

/// The value of a header that is there exactly once.
std::optional<std::string> onlyHeader(const Request &request, std::string_view name);

} // namespace velmora::ingest
