#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace velmora::doctor {

/// The consent events that wait to be sent.
struct WaitingEvents {
    std::size_t count = 0;
    /// Seconds since 1970; absent when no event has a date.
    std::optional<double> oldest;
};

/// Reads the archive of the events, whose form docs/storage-format.md describes. Nothing when it is
/// none.
std::optional<WaitingEvents> readWaitingEvents(const std::string &archive);

} // namespace velmora::doctor
