#pragma once

#include "platform/HTTPSession.h"
#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vmr {

/// What the transport makes of a finished exchange. Only status 200 is success: other 2xx are
/// failures like any error status.
struct ExchangeVerdict {
    /// 0 when no HTTP response came.
    std::int64_t status = 0;
    /// Absent exactly when the exchange succeeded.
    std::optional<std::string> failure;
    /// What the body of a success held; absent when it was empty.
    Value object;
};

ExchangeVerdict judgeExchange(const HTTPOutcome &outcome);

} // namespace vmr
