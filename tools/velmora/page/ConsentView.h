#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace velmora::page {

/// A consent string in words: purposes by name, vendors as ranges, problems with what to do; or
/// {"error": …} when it cannot be decoded.
nlohmann::ordered_json consentView(const std::string &text);

/// What was granted and withdrawn from one string to the other, each entry as ranges of ids; null
/// when one of them cannot be decoded.
nlohmann::ordered_json consentDifference(const std::string &before, const std::string &after);

/// A few numbers of a consent string, for a point of a time line.
nlohmann::ordered_json consentSummary(const std::string &text);

} // namespace velmora::page
