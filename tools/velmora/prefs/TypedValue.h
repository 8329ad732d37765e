#pragma once

#include <VelmoraKit/velmora.h>

#include <string>

namespace velmora::prefs {

inline constexpr const char *typeNames = "string, integer, real, boolean, date, data, json";

/// Writes a value that is given as text. Throws a CommandError when the text
/// is none of that type.
velmora_result putTyped(const std::string &key, const std::string &type, const std::string &text);

} // namespace velmora::prefs
