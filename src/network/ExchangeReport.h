#pragma once

#include "network/VMRNetworkManager.h"
#include "platform/Date.h"
#include "platform/Locked.h"
#include "platform/PlatformError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace vmr {

/// How an exchange ended, for the host.
struct ExchangeReport {
    /// 0: a request of its own, of neither kind.
    VMRIngestType kind = 0;
    bool delivered = false;
    /// Absent when no HTTP response came.
    std::optional<std::int64_t> status;
    /// What the transport reported.
    std::optional<PlatformError> error;
    std::size_t events = 0;
    std::size_t bytes = 0;
    double duration = 0;
    Date ended;
};

/// Posted on the main queue, once for each exchange, after its handler has run; the notification's
/// object is an ExchangeReport.
inline constexpr std::string_view VMRExchangeDidEndNotification = "VMRExchangeDidEndNotification";

/// The last exchange that has ended in this process, as soon as it has; nothing before. For those
/// who look for the reason why nothing arrives.
inline Locked<std::shared_ptr<const ExchangeReport>> &lastExchange() {
    static auto &only = *new Locked<std::shared_ptr<const ExchangeReport>>;
    return only;
}

} // namespace vmr
