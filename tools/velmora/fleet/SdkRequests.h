#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::fleet {

/// Who a simulated device is.
struct Identity {
    /// As `vendor` an upper-case UUID.
    std::string advertising;
    std::string installation;
    bool isTracked = false;
    std::string vendor;
};

struct ConsentChange {
    /// Seconds since 1970.
    double date = 0;
    std::string consent;
};

/// What goes over the wire.
struct WireRequest {
    std::string url;
    std::vector<std::string> headers;
    std::string body;
    /// The "eventId" of each item.
    std::vector<std::string> events;
};

/// The SDK's own builders of items, identifiers, envelope, signature and body, lent to one device
/// after the other. One in a process, used on one thread.
class SdkRequests {
public:
    /// `address` ends with "/". Throws std::runtime_error with the SDK's own sentence when the SDK
    /// would refuse it.
    SdkRequests(std::string address, std::string apiKey, std::string secret);
    SdkRequests(const SdkRequests &) = delete;
    SdkRequests &operator=(const SdkRequests &) = delete;
    ~SdkRequests();

    /// The request with which the device posts these changes at `date`.
    WireRequest make(const Identity &device, const std::vector<ConsentChange> &changes,
                     double date);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace velmora::fleet
