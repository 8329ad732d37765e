#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora::fleet {

/// How devices of a kind are used.
struct Profile {
    std::string_view name;
    /// Of one device, a day.
    double changes;
    double foregrounds;
    /// How often the network is there when a device wants to post.
    double reach;
    /// How many users have allowed tracking.
    double tracked;
    /// The share of the day's use in each hour, up to a factor.
    std::array<double, 24> hours;
};

std::optional<Profile> profileNamed(std::string_view name);

/// Of the day's average, at this many seconds since midnight.
double useAt(const Profile &profile, double seconds);
/// The most that `useAt` gives.
double greatestUse(const Profile &profile);

} // namespace velmora::fleet
