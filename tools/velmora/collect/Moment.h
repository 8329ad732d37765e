#pragma once

#include <cstdint>
#include <string>

namespace velmora::collect {

/// Milliseconds since 1970.
std::int64_t wallClock();
/// "2026-03-04T15:06:07.123Z".
std::string momentText(std::int64_t milliseconds);

} // namespace velmora::collect
