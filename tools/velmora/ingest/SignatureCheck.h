#pragma once

#include "ingest/Request.h"

namespace velmora::ingest {

/// "right", "not checked: …", or what is wrong with the token or the API key. The secret is never
/// part of the text.
std::string checkSignature(const Request &request, std::optional<Kind> kind,
                           const Credentials &credentials);

/// The path that is signed: the version prefix of an address is not part of it.
std::string_view signedPath(Kind kind);

/// The token that a request carries; empty when the header is not of its form.
std::optional<std::string> tokenOf(const Request &request);

/// What stands for a missing key or secret in the text that is signed.
inline constexpr std::string_view absentText = "(null)";

} // namespace velmora::ingest
