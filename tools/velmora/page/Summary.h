#pragma once

#include "ingest/Report.h"
#include "ingest/Server.h"
#include "page/Exchange.h"

namespace velmora::page {

/// What the journal keeps of a request that came at `time`.
Exchange exchangeOf(ingest::Arrival arrival, const ingest::Report &report, std::int64_t time);

} // namespace velmora::page
