#pragma once

#include <VelmoraKit/velmora.h>

#include <string>
#include <string_view>

namespace velmora {

inline constexpr const char *typeNames = "string, integer, real, boolean, date, data, json";

/// Writes a value that is given as text. Throws a CommandError when the text
/// is none of that type.
velmora_result putTyped(const std::string &key, std::string_view type, std::string_view text);

} // namespace velmora
