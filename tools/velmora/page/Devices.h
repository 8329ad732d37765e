#pragma once

#include "page/Journal.h"

namespace velmora::page {

/// The devices that the kept requests name, the one seen last first, each with its events in the
/// order of their dates and with every request that carried them.
nlohmann::ordered_json devicesOf(const std::vector<Kept> &kept);

} // namespace velmora::page
