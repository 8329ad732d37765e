#pragma once

#include <atomic>
#include <cstdint>

namespace vmr {

/// How often the SDK was stopped so that everything it keeps could be removed. What was under way
/// before that stores and sends nothing any more.
inline std::atomic<std::uint64_t> erasures{0};

} // namespace vmr
