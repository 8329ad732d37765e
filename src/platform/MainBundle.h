#pragma once

#include "platform/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// What the host application says of itself. Safe from any thread.
class MainBundle {
public:
    virtual std::optional<std::string> bundleIdentifier() const = 0;
    /// An entry of the information dictionary ("CFBundleShortVersionString", "VMRLogsEnabled",
    /// "VMRIngestBaseAddress", ...), or absent.
    virtual Value objectForInfoDictionaryKey(std::string_view key) const = 0;

protected:
    ~MainBundle() = default;
};

} // namespace vmr
