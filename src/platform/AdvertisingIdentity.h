#pragma once

#include <cstdint>
#include <string>

namespace vmr {

/// The advertising identifier and what the user has allowed. Safe from any thread.
class AdvertisingIdentity {
public:
    /// An upper-case UUID; all zeros when the user has not allowed it.
    virtual std::string advertisingIdentifier() const = 0;
    /// 0 not determined, 1 restricted, 2 denied, 3 authorised.
    virtual std::uint64_t trackingAuthorizationStatus() const = 0;
    /// The older switch, which systems before version 14 have.
    virtual bool isAdvertisingTrackingEnabled() const = 0;

protected:
    ~AdvertisingIdentity() = default;
};

} // namespace vmr
