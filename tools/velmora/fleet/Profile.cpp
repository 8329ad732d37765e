#include "fleet/Profile.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velmora::fleet {
namespace {

// Assumptions, which docs/fleet.md lists.
constexpr Profile profiles[] = {
    {"kiosk", 20, 2, 0.999, 0, {0, 0, 0, 0, 0, 0, 1, 3, 5, 6, 7, 8,
                                8, 8, 7, 7, 8, 8, 7, 5, 3, 1, 0, 0}},
    {"set-top", 0.1, 4, 0.995, 0.4, {3, 1, 1, 0, 0, 1, 2, 3,  3,  2,  2, 3,
                                     4, 3, 3, 3, 4, 6, 8, 10, 12, 11, 9, 6}},
    {"car", 0.2, 3, 0.85, 0.3, {1, 0, 0, 0, 1,  3,  7, 12, 10, 5, 4, 4,
                                5, 5, 5, 7, 10, 12, 9, 6,  4,  3, 2, 1}},
};

double meanOf(const Profile &profile) {
    return std::accumulate(profile.hours.begin(), profile.hours.end(), 0.0) /
           static_cast<double>(profile.hours.size());
}

} // namespace

std::optional<Profile> profileNamed(std::string_view name) {
    const auto *const found = std::ranges::find(profiles, name, &Profile::name);
    return found == std::end(profiles) ? std::nullopt : std::optional(*found);
}

double useAt(const Profile &profile, double seconds) {
    const double hour = std::fmod(seconds / 3600, 24);
    return profile.hours.at(static_cast<std::size_t>(hour)) / meanOf(profile);
}

double greatestUse(const Profile &profile) {
    return std::ranges::max(profile.hours) / meanOf(profile);
}

} // namespace velmora::fleet
