#include "platform/linux/http/ExchangeAccount.h"

#include "platform/GuardedCall.h"

#include <utility>

namespace vmr {

void ExchangeAccount::complete(HTTPSession::Completion &&completion,
                               const HTTPOutcome &outcome) noexcept {
    callGuarded(log_, "The completion of an HTTP exchange", [&] {
        const HTTPSession::Completion called = std::move(completion);
        if (called)
            called(outcome);
    });
}

void ExchangeAccount::noteTrouble(const PlatformError &error) {
    // An address without a beginning is what was refused as a base address, and told then. Where
    // memory was short there is nothing to tell.
    if (error.code == static_cast<std::int64_t>(URLErrorCode::unsupportedURL) ||
        error.userInfo.empty())
        return;
    std::string detail = error.debugDescription();
    if (detail != told_) {
        log_.write("VelmoraKit: requests cannot be sent: " + detail, LogLevel::error);
        told_ = std::move(detail);
    }
}

} // namespace vmr
