#pragma once

#include "ingest/Report.h"

#include <nlohmann/json.hpp>

namespace velmora::page {

/// How the token of a request is made, step by step, and for one that is wrong what it was made
/// with: {"steps":[{"name","text","note"}],"cause":TEXT,"remedy":TEXT}. The secret is masked.
nlohmann::ordered_json tokenSteps(const ingest::Request &request, std::optional<ingest::Kind> kind,
                                  const ingest::Credentials &credentials);

/// The text with dots in place of the secret, should a client have put it there.
std::string masked(std::string text, const ingest::Credentials &credentials);

/// The same in all sentences of a report.
void maskIn(ingest::Report &report, const ingest::Credentials &credentials);

} // namespace velmora::page
