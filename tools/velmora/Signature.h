#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The text whose SHA-1 is the token of a request, and the token. `path` is the address without
/// its version prefix, which is not signed: "consents" or "devices_errors".
std::string signatureSource(std::string_view secret, std::string_view path,
                            std::string_view apiKey);
std::string tokenFor(std::string_view secret, std::string_view path, std::string_view apiKey);

} // namespace velmora
