#pragma once

#include "ingest/Report.h"
#include "ingest/Server.h"
#include "page/Exchange.h"

namespace velmora::page {

/// What the journal keeps of a request that came at `time`.
Exchange exchangeOf(ingest::Arrival arrival, const ingest::Report &report, std::int64_t time);

/// The parts of a request that are judged one by one, each as
/// {"state": "good" | "bad" | "unknown", "text": …}.
nlohmann::ordered_json partsOf(const ingest::Report &report);

std::string kindInWords(std::optional<ingest::Kind> kind);

} // namespace velmora::page
