#include "tcf/TCFNames.h"
#include "tcf/TCFText.h"

#include <chrono>
#include <cstdio>

namespace velmora::tcf {

std::string inWords(const IdSet &ids) {
    std::string text;
    for (const IdRange &range : ids.ranges()) {
        if (!text.empty())
            text += ", ";
        text += std::to_string(range.first);
        if (range.last != range.first) {
            text += '-';
            text += std::to_string(range.last);
        }
    }
    return text.empty() ? "none" : text;
}

std::string inWords(const std::vector<Restriction> &restrictions) {
    std::string text;
    for (const Restriction &each : restrictions) {
        text += text.empty() ? "purpose " : "; purpose ";
        text += std::to_string(each.purpose) + ": ";
        text += restrictionName(each.type);
        text += " for vendors " + inWords(each.vendors);
    }
    return text.empty() ? "none" : text;
}

std::string dateInWords(std::int64_t tenths) {
    using namespace std::chrono;
    using Tenths = duration<std::int64_t, std::deci>;
    const sys_time<Tenths> time{Tenths(tenths)};
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss<Tenths> clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    const std::string fraction = tenths % 10 == 0 ? "" : "." + std::to_string(tenths % 10);
    return text + fraction + " UTC";
}

} // namespace velmora::tcf
