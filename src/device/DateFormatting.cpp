#include "device/DateFormatting.h"

#include "platform/Calendar.h"
#include "platform/NumberText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace vmr {
namespace {

/// The offset last, which is no number.
constexpr std::string_view fieldLetters = "yMdHmsSZ";

/// Sign, hours and minutes; offsets from before standard time show their seconds too.
void appendOffset(std::string &text, int offsetSeconds) {
    const int distance = std::abs(offsetSeconds);
    text.push_back(offsetSeconds < 0 ? '-' : '+');
    appendPadded(text, distance / 3600, 2);
    appendPadded(text, distance / 60 % 60, 2);
    if (distance % 60 != 0)
        appendPadded(text, distance % 60, 2);
}

void appendField(std::string &text, char letter, std::size_t width, const CalendarFields &fields,
                 int milliseconds) {
    const std::int64_t values[] = {fields.year,   fields.month,  fields.day,  fields.hour,
                                   fields.minute, fields.second, milliseconds};
    const std::size_t at = fieldLetters.find(letter);
    if (at < std::size(values))
        appendPadded(text, values[at], width);
    else
        appendOffset(text, fields.offsetSeconds);
}

} // namespace

std::optional<std::string> VMRDateFormatter::stringFromDate(const std::optional<Date> &date) const {
    if (!date)
        return std::nullopt;
    const double rounded = std::floor(date->secondsSince1970 * 1000 + 0.5);
    const double seconds = std::floor(rounded / 1000);
    // Dates beyond the precision of a double, or not numbers at all, have no fraction.
    const double rest = rounded - seconds * 1000;
    const int milliseconds = rest >= 0 && rest < 1000 ? static_cast<int>(rest) : 0;
    const auto fields = zone_ == Zone::gmt ? calendarFieldsInUTC(Date{seconds})
                                           : calendarFieldsInLocalTime(Date{seconds});
    std::string text;
    for (std::string_view pattern = pattern_; !pattern.empty();) {
        const char first = pattern.front();
        std::size_t length = 1;
        if (first == '\'') {
            const auto quoted = pattern.substr(1, pattern.find('\'', 1) - 1);
            text += quoted;
            length = quoted.size() + 2;
        } else if (fieldLetters.find(first) != std::string_view::npos) {
            length = std::min(pattern.find_first_not_of(first), pattern.size());
            appendField(text, first, length, fields, milliseconds);
        } else {
            text += first;
        }
        pattern.remove_prefix(std::min(length, pattern.size()));
    }
    return text;
}

} // namespace vmr
