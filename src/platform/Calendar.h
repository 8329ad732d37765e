#pragma once

#include "platform/Date.h"

#include <cstdint>

namespace vmr {

/// A date taken apart for printing: Gregorian from 15 October 1582 on, Julian before it.
struct CalendarFields {
    /// Year of the era, so 1 for the first year on either side of the turn of eras.
    std::int64_t year = 1;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    /// Seconds east of Greenwich; dates before standard time have offsets with odd seconds.
    int offsetSeconds = 0;
};

/// Dates too far away for the calendar show its last moment on that side. Safe from any thread.
CalendarFields calendarFieldsInUTC(Date date);
/// In the process's zone (TZ, else the system's), as it was at the first use.
CalendarFields calendarFieldsInLocalTime(Date date);

} // namespace vmr
