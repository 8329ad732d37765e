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

/// Reads strictly: one document, an object or a list, at most 512 levels deep.
JsonText readJson(const std::string &text);

/// "a string", "null", … for sentences.
std::string typeInWords(const nlohmann::json &value);

} // namespace velmora::ingest
