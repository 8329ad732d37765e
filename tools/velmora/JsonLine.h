#pragma once

#include <nlohmann/json.hpp>

namespace velmora {

/// Writes the value as one line to standard output, whole and flushed. From any thread.
void writeLine(const nlohmann::ordered_json &value);

} // namespace velmora
