#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace velmora::fleet {

/// The figures as a page of its own, with pictures and without a script.
std::string pageOf(const nlohmann::ordered_json &figures);

} // namespace velmora::fleet
