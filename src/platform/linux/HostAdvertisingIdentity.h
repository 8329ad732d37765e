#pragma once

#include "platform/AdvertisingIdentity.h"

#include <optional>
#include <string>

namespace vmr {

class SystemLog;

/// Linux has no advertising identifier: it is what the host says, all zeros when it says nothing or
/// something that is no UUID (with a log line).
class HostAdvertisingIdentity final : public AdvertisingIdentity {
public:
    HostAdvertisingIdentity(const std::optional<std::string> &identifier, std::uint64_t status,
                            bool trackingEnabled, SystemLog &log);

    std::string advertisingIdentifier() const override { return identifier_; }
    std::uint64_t trackingAuthorizationStatus() const override { return status_; }
    bool isAdvertisingTrackingEnabled() const override { return trackingEnabled_; }

private:
    std::string identifier_ = "00000000-0000-0000-0000-000000000000";
    const std::uint64_t status_;
    const bool trackingEnabled_;
};

} // namespace vmr
