#include "platform/Calendar.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace vmr {
namespace {

constexpr std::int64_t secondsPerDay = 86400;
/// 15 October 1582, in days since 1970.
constexpr std::int64_t firstGregorianDay = -141427;
/// libc counts years in an int; stay well inside.
constexpr double farthestSecond = 6e16;

std::int64_t wholeSecondsOf(Date date) {
    if (std::isnan(date.secondsSince1970))
        return 0;
    const double seconds = std::clamp(date.secondsSince1970, -farthestSecond, farthestSecond);
    return static_cast<std::int64_t>(std::floor(seconds));
}

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

/// Puts the Julian day in the place of the Gregorian one.
void makeJulian(CalendarFields &fields, std::int64_t days) {
    // Years begin in March here, so that the leap day is a year's last.
    const std::int64_t sinceMarchOfYear0 = days + 719470;
    const std::int64_t cycle = floorDivide(sinceMarchOfYear0, 1461);
    const std::int64_t dayOfCycle = sinceMarchOfYear0 - cycle * 1461;
    const std::int64_t yearOfCycle = (dayOfCycle - dayOfCycle / 1460) / 365;
    const int dayOfYear = static_cast<int>(dayOfCycle - 365 * yearOfCycle);
    const int month = (5 * dayOfYear + 2) / 153;
    fields.year = cycle * 4 + yearOfCycle + (month < 10 ? 0 : 1);
    fields.month = month < 10 ? month + 3 : month - 9;
    fields.day = dayOfYear - (153 * month + 2) / 5 + 1;
}

CalendarFields fieldsAtOffset(std::int64_t moment, int offsetSeconds) {
    const std::time_t local = moment + offsetSeconds;
    std::tm parts{};
    gmtime_r(&local, &parts);
    CalendarFields fields{std::int64_t{parts.tm_year} + 1900,
                          parts.tm_mon + 1,
                          parts.tm_mday,
                          parts.tm_hour,
                          parts.tm_min,
                          parts.tm_sec,
                          offsetSeconds};
    if (const std::int64_t days = floorDivide(local, secondsPerDay); days < firstGregorianDay)
        makeJulian(fields, days);
    if (fields.year <= 0)
        fields.year = 1 - fields.year;
    return fields;
}

} // namespace

CalendarFields calendarFieldsInUTC(Date date) {
    return fieldsAtOffset(wholeSecondsOf(date), 0);
}

CalendarFields calendarFieldsInLocalTime(Date date) {
    const std::int64_t moment = wholeSecondsOf(date);
    const std::time_t time = moment;
    std::tm local{};
    const bool known = localtime_r(&time, &local) != nullptr;
    return fieldsAtOffset(moment, known ? static_cast<int>(local.tm_gmtoff) : 0);
}

} // namespace vmr
