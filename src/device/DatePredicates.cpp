#include "device/DatePredicates.h"

#include "platform/Calendar.h"

#include <tuple>

namespace vmr {

bool isVMRValid(const std::optional<Date> &date) {
    return date && *date != Date::distantPast() && *date != Date::distantFuture();
}

bool isEqualToDateIgnoringSeconds(Date date, const std::optional<Date> &other) {
    if (!other)
        return false;
    const auto minuteOf = [](Date instant) {
        const auto fields = calendarFieldsInLocalTime(instant);
        return std::tuple(fields.year, fields.month, fields.day, fields.hour, fields.minute);
    };
    return minuteOf(date) == minuteOf(*other);
}

bool isBetweenDate(Date date, Date start, Date end) {
    return start < date && date <= end;
}

bool isBefore(Date date, Date other) {
    return date <= other;
}

bool isAfter(Date date, Date other) {
    return date >= other;
}

} // namespace vmr
