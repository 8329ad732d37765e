#pragma once

#include "platform/Calendar.h"

#include <optional>
#include <tuple>

namespace vmr {

/// Whether the date is present and neither the distant past nor the distant future.
inline bool isVMRValid(const std::optional<Date> &date) {
    return date && *date != Date::distantPast() && *date != Date::distantFuture();
}
/// Whether both fall into the same minute of the local wall clock; false for an absent other.
inline bool isEqualToDateIgnoringSeconds(Date date, const std::optional<Date> &other) {
    const auto minuteOf = [](Date instant) {
        const auto fields = calendarFieldsInLocalTime(instant);
        return std::tuple(fields.year, fields.month, fields.day, fields.hour, fields.minute);
    };
    return other && minuteOf(date) == minuteOf(*other);
}
/// start < date <= end: open at the start, closed at the end.
inline bool isBetweenDate(Date date, Date start, Date end) {
    return start < date && date <= end;
}
/// Not later than.
inline bool isBefore(Date date, Date other) {
    return date <= other;
}
/// Not earlier than.
inline bool isAfter(Date date, Date other) {
    return date >= other;
}

} // namespace vmr
