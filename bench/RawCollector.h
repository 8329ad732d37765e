#pragma once

#include <string>
#include <vector>

namespace bench {

/// The raw limit of a collector: gunzip, JSON parse and insert of the same bodies into the same
/// table with its unique index, `batch` requests in each durable transaction, and nothing around
/// it. Seconds of processor time.
double processorTimeOfRaw(const std::string &path, const std::vector<std::string> &bodies,
                          std::size_t batch);

} // namespace bench
