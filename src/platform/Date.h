#pragma once

#include <compare>
#include <string>

namespace vmr {

/// A point in time with sub-second precision.
struct Date {
    /// Seconds since 1 January 1970, 00:00:00 UTC; negative before it.
    double secondsSince1970 = 0;

    /// 1 January of year 1, UTC: "never happened".
    static constexpr Date distantPast() { return Date{-62135769600.0}; }
    /// 1 January of year 4001, UTC.
    static constexpr Date distantFuture() { return Date{64092211200.0}; }

    /// Seconds from `earlier` to this date.
    constexpr double timeIntervalSince(Date earlier) const {
        return secondsSince1970 - earlier.secondsSince1970;
    }
    constexpr Date addingTimeInterval(double seconds) const {
        return Date{secondsSince1970 + seconds};
    }
    auto operator<=>(const Date &) const = default;

    /// "2021-03-04 14:06:07 +0000": always UTC, fractions of a second dropped downwards.
    std::string description() const;
};

} // namespace vmr
