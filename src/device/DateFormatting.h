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
    enum Zone { local, gmt };

    /// `pattern` lives as long as the program.
    constexpr VMRDateFormatter(std::string_view pattern, Zone zone)
        : pattern_(pattern), zone_(zone) {}
    /// The date, rounded to the nearest millisecond. Nothing for an absent date.
    std::optional<std::string> stringFromDate(const std::optional<Date> &date) const;

private:
    std::string_view pattern_;
    Zone zone_;
};

/// All print the digits of "en_US_POSIX", whatever the host's locale. This one every date that goes
/// into a data-stream body.
inline const VMRDateFormatter &VMR_dataStreamApiDateFormatter() {
    static constexpr VMRDateFormatter formatter("yyyy-MM-dd HH:mm:ss ZZZ", VMRDateFormatter::local);
    return formatter;
}
/// The public status log.
inline const VMRDateFormatter &VMR_postgresDateFormatter() {
    static constexpr VMRDateFormatter formatter("yyyy-MM-dd HH:mm:ss", VMRDateFormatter::local);
    return formatter;
}
inline const VMRDateFormatter &VMR_awsDateFormatter() {
    static constexpr VMRDateFormatter formatter("yyyyMMdd'T'HHmmss'Z'", VMRDateFormatter::gmt);
    return formatter;
}
inline const VMRDateFormatter &VMR_awsShortDateFormatter() {
    static constexpr VMRDateFormatter formatter("yyyyMMdd", VMRDateFormatter::gmt);
    return formatter;
}
inline const VMRDateFormatter &VMR_cmpWebviewDateFormatter() {
    static constexpr VMRDateFormatter formatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'",
                                                VMRDateFormatter::gmt);
    return formatter;
}

inline std::optional<std::string> dataStreamApiFormatedDateString(const std::optional<Date> &date) {
    return VMR_dataStreamApiDateFormatter().stringFromDate(date);
}

} // namespace vmr
