#pragma once

#include "platform/Date.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vmr {

/// How the last request ended, for those who look for the reason why nothing arrives.
struct LastExchange {
    Date ended;
    /// Absent when no HTTP response came.
    std::optional<std::int64_t> status;
    /// What the transport reported.
    std::optional<std::string> error;
};

} // namespace vmr
