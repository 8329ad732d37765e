#pragma once

#include <VelmoraKit/velmora.h>

#include <nlohmann/json.hpp>

#include <string>

namespace velmora {

/// Throws what the library's answer stands for: a CommandError for an argument that is no good,
/// std::runtime_error for what is not the caller's fault.
void requireOK(velmora_result result);

/// What the preferences file that the library was configured with holds under the key, in the form
/// of `velmora prefs`; null when it holds nothing.
nlohmann::ordered_json storedValue(const std::string &key);

/// "a string", "a date", … for sentences.
std::string storedTypeInWords(const nlohmann::ordered_json &value);

} // namespace velmora
