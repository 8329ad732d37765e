#pragma once

#include "ingest/Request.h"

namespace velmora::ingest {

/// The resource that the address names; empty when there is none there.
std::optional<Kind> kindOfTarget(const std::string &target);

/// "right", "not checked: …", or what is wrong with the token or the API key. The secret is never
/// part of the text.
std::string checkSignature(const Request &request, std::optional<Kind> kind,
                           const Credentials &credentials);

/// Everything about method, address and headers apart from the signature.
Problems checkHead(const Request &request, std::optional<Kind> kind);

/// The value of a header that is there exactly once.
std::optional<std::string> onlyHeader(const Request &request, std::string_view name);

} // namespace velmora::ingest
