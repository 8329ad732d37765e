#pragma once

#include <optional>
#include <string>

namespace vmr {

/// Answers what the SDK asks about its surroundings, afresh on every call. Safe from any thread.
class VMRSystemInfosFetcher {
public:
    VMRSystemInfosFetcher() = delete;

    /// Six characters of the build revision, then "-Debug".
    static std::string sdkVersion();
    /// The bundle identifier, its last 256 characters when it is longer; nothing when the host has
    /// none.
    static std::optional<std::string> bundleIdShort();
    static std::string deviceModel();
    static std::optional<std::string> appVersion();
    static std::string systemVersion();
    /// The advertising identifier, whatever the user has allowed.
    static std::string idfa();
    static bool isAdTrackingEnabled();
    /// Nothing when the machine has no identifier, "" when the system does not know of any.
    static std::optional<std::string> idfv();
};

} // namespace vmr
