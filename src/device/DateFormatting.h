#pragma once

#include "platform/Date.h"

#include <optional>
#include <string>

namespace vmr {

/// Prints dates in one fixed pattern. Safe from any thread.
class VMRDateFormatter {
public:
    virtual ~VMRDateFormatter() = default;
    /// Nothing for an absent date.
    virtual std::optional<std::string> stringFromDate(const std::optional<Date> &date) const = 0;
};

/// Each formatter is made on first use, once, and lives as long as the process.
/// All print the digits of "en_US_POSIX", whatever the host's locale.
///
/// "yyyy-MM-dd HH:mm:ss ZZZ", local time: every date that goes into a data-stream body.
const VMRDateFormatter &VMR_dataStreamApiDateFormatter();
/// "yyyy-MM-dd HH:mm:ss", system zone: the public status log.
const VMRDateFormatter &VMR_postgresDateFormatter();
/// "yyyyMMdd'T'HHmmss'Z'", GMT.
const VMRDateFormatter &VMR_awsDateFormatter();
/// "yyyyMMdd", GMT.
const VMRDateFormatter &VMR_awsShortDateFormatter();
/// "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", GMT.
const VMRDateFormatter &VMR_cmpWebviewDateFormatter();

std::optional<std::string> dataStreamApiFormatedDateString(const std::optional<Date> &date);

} // namespace vmr
