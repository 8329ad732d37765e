#pragma once

#include "platform/Date.h"

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// Prints dates in a fixed Unicode date pattern: the letters y M d H m s S Z, quoted text, and
/// every other character that is no letter as itself. Immutable, so safe from any thread.
class VMRDateFormatter {
public:
    enum class Zone { local, gmt };

    /// `pattern` lives as long as the program.
    constexpr VMRDateFormatter(std::string_view pattern, Zone zone)
        : pattern_(pattern), zone_(zone) {}
    /// The date, rounded to the nearest millisecond. Nothing for an absent date.
    std::optional<std::string> stringFromDate(const std::optional<Date> &date) const;

private:
    std::string_view pattern_;
    Zone zone_;
};

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
