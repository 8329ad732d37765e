#include "device/DateFormatting.h"

#include "device/DatePattern.h"

namespace vmr {
namespace {

class PatternFormatter final : public VMRDateFormatter {
public:
    PatternFormatter(std::string_view pattern, DatePattern::Zone zone) : pattern_(pattern, zone) {}
    std::optional<std::string> stringFromDate(const std::optional<Date> &date) const override {
        if (!date)
            return std::nullopt;
        return pattern_.print(*date);
    }

private:
    DatePattern pattern_;
};

} // namespace

const VMRDateFormatter &VMR_dataStreamApiDateFormatter() {
    static const auto &formatter =
        *new PatternFormatter("yyyy-MM-dd HH:mm:ss ZZZ", DatePattern::Zone::local);
    return formatter;
}

const VMRDateFormatter &VMR_postgresDateFormatter() {
    static const auto &formatter =
        *new PatternFormatter("yyyy-MM-dd HH:mm:ss", DatePattern::Zone::local);
    return formatter;
}

const VMRDateFormatter &VMR_awsDateFormatter() {
    static const auto &formatter =
        *new PatternFormatter("yyyyMMdd'T'HHmmss'Z'", DatePattern::Zone::gmt);
    return formatter;
}

const VMRDateFormatter &VMR_awsShortDateFormatter() {
    static const auto &formatter = *new PatternFormatter("yyyyMMdd", DatePattern::Zone::gmt);
    return formatter;
}

const VMRDateFormatter &VMR_cmpWebviewDateFormatter() {
    static const auto &formatter =
        *new PatternFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", DatePattern::Zone::gmt);
    return formatter;
}

std::optional<std::string> dataStreamApiFormatedDateString(const std::optional<Date> &date) {
    return VMR_dataStreamApiDateFormatter().stringFromDate(date);
}

} // namespace vmr
