#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

namespace velmora::ingest {

struct JsonText {
    /// Empty when the text is a sound JSON object or list.
    std::string problem;
    nlohmann::json value;
    /// Keys that stand twice in one object.
    std::vector<std::string> repeatedKeys;
};

/// Reads strictly: one document, an object or a list, of bounded depth and number of values, in
/// time that grows as its length does. Unpacks strings where they stand.
JsonText readJson(std::string text);

/// A key or a value for a sentence, shortened.
std::string inQuotes(std::string_view text);

/// "a string", "null", … for sentences.
std::string typeInWords(const nlohmann::json &value);

} // namespace velmora::ingest
