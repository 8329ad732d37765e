#pragma once

#include "platform/AdvertisingIdentity.h"

#include <optional>
#include <string>

namespace vmr {

/// Linux has no advertising identifier: it is what the host says, all zeros when it says nothing.
class HostAdvertisingIdentity final : public AdvertisingIdentity {
public:
    /// `identifier` in its canonical form.
    HostAdvertisingIdentity(const std::optional<std::string> &identifier, std::uint64_t status,
                            bool trackingEnabled)
        : identifier_(identifier.value_or("00000000-0000-0000-0000-000000000000")), status_(status),
          trackingEnabled_(trackingEnabled) {}

    std::string advertisingIdentifier() const override { return identifier_; }
    std::uint64_t trackingAuthorizationStatus() const override { return status_; }
    bool isAdvertisingTrackingEnabled() const override { return trackingEnabled_; }

private:
    const std::string identifier_;
    const std::uint64_t status_;
    const bool trackingEnabled_;
};

} // namespace vmr
