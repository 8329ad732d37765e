#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace velmora::collect {

enum class ExportForm { ndjson, csv };

/// Writes the events of an SQLite sink whose row is above `after`, in the order they came; a
/// collector may go on meanwhile. Throws SinkTrouble.
void exportEvents(const std::string &path, ExportForm form, std::int64_t after, std::FILE *out);

/// How much there is of what, and since when.
nlohmann::ordered_json statsOf(const std::string &path);

} // namespace velmora::collect
