#include "platform/linux/http/RequestTrouble.h"

#include "platform/PlatformError.h"
#include "platform/SystemLog.h"

#include <utility>

namespace vmr {

void RequestTrouble::note(const PlatformError &error) {
    // An address without a beginning is what was refused as a base address, and told then.
    if (error.code == static_cast<std::int64_t>(URLErrorCode::unsupportedURL))
        return;
    std::string detail = error.debugDescription();
    if (detail != told_) {
        log_->write("VelmoraKit: requests cannot be sent: " + detail, LogLevel::error);
        told_ = std::move(detail);
    }
}

} // namespace vmr
