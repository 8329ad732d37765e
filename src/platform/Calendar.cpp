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

struct Civil {
    std::int64_t year;
    int month;
    int day;
};

/// Years begin in March here, so that the leap day is a year's last.
constexpr Civil civilFromMarchYear(std::int64_t marchYear, int dayOfYear) {
    const int shiftedMonth = (5 * dayOfYear + 2) / 153;
    const int day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const int month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {marchYear + (month <= 2 ? 1 : 0), month, day};
}

constexpr Civil gregorianFromDays(std::int64_t days) {
    const std::int64_t sinceMarchOfYear0 = days + 719468;
    const std::int64_t era = floorDivide(sinceMarchOfYear0, 146097);
    const std::int64_t dayOfEra = sinceMarchOfYear0 - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    return civilFromMarchYear(era * 400 + yearOfEra, static_cast<int>(dayOfYear));
}

constexpr Civil julianFromDays(std::int64_t days) {
    const std::int64_t sinceMarchOfYear0 = days + 719470;
    const std::int64_t cycle = floorDivide(sinceMarchOfYear0, 1461);
    const std::int64_t dayOfCycle = sinceMarchOfYear0 - cycle * 1461;
    const std::int64_t yearOfCycle = (dayOfCycle - dayOfCycle / 1460) / 365;
    return civilFromMarchYear(cycle * 4 + yearOfCycle,
                              static_cast<int>(dayOfCycle - 365 * yearOfCycle));
}

CalendarFields fieldsAtOffset(std::int64_t moment, int offsetSeconds) {
    const std::int64_t local = moment + offsetSeconds;
    const std::int64_t days = floorDivide(local, secondsPerDay);
    const int secondOfDay = static_cast<int>(local - days * secondsPerDay);
    const Civil civil = days >= firstGregorianDay ? gregorianFromDays(days) : julianFromDays(days);

    CalendarFields fields;
    fields.year = civil.year <= 0 ? 1 - civil.year : civil.year;
    fields.month = civil.month;
    fields.day = civil.day;
    fields.hour = secondOfDay / 3600;
    fields.minute = secondOfDay / 60 % 60;
    fields.second = secondOfDay % 60;
    fields.offsetSeconds = offsetSeconds;
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
