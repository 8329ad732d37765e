#pragma once

#include <optional>
#include <string>

namespace velmora::page {

std::string base64(const std::string &bytes);
/// Nothing for a text that is none.
std::optional<std::string> fromBase64(const std::string &text);

} // namespace velmora::page
