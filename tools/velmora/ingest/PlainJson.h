#pragma once

#include <nlohmann/json.hpp>

namespace velmora::ingest {

/// Reads the JSON that devices write, in a small part of the parser's time: objects, lists, the
/// three words, and strings of ASCII without escapes, nothing empty. False when the text holds
/// anything else or `tree` stops; the parser then decides about all of it.
bool readPlainJson(std::string_view text, nlohmann::json_sax<nlohmann::json> &tree);

} // namespace velmora::ingest
