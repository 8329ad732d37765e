#include "platform/linux/HostAdvertisingIdentity.h"

#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/UUID.h"

namespace vmr {

HostAdvertisingIdentity::HostAdvertisingIdentity(const std::optional<std::string> &identifier,
                                                 std::uint64_t status, bool trackingEnabled,
                                                 SystemLog &log)
    : status_(status), trackingEnabled_(trackingEnabled) {
    if (!identifier)
        return;
    if (auto canonical = canonicalUUIDString(*identifier))
        identifier_ = *std::move(canonical);
    else
        log.write(format("[VMR] The advertising identifier \"%@\" is no UUID; the all-zero "
                         "identifier stands in for it",
                         *identifier));
}

} // namespace vmr
