#include "device/DateFormatting.h"
#include "device/DatePredicates.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <vector>

namespace vmr::test {
namespace {

struct Printed {
    double seconds;
    const char *text;
};

constexpr double springForward = 1616893200; // 28 March 2021, 01:00 UTC
constexpr double earliest = -62135769600;

const std::map<std::string, std::vector<Printed>, std::less<>> &expectations() {
    static const std::map<std::string, std::vector<Printed>, std::less<>> zones{
        {"Europe/Paris",
         {{1614866767, "2021-03-04 15:06:07 +0100"},
          {springForward - 1, "2021-03-28 01:59:59 +0100"},
          {springForward, "2021-03-28 03:00:00 +0200"},
          {springForward - 0.0004, "2021-03-28 03:00:00 +0200"},
          {earliest, "0001-01-01 00:09:21 +000921"}}},
        {"Asia/Kolkata",
         {{1614866767, "2021-03-04 19:36:07 +0530"}, {earliest, "0001-01-01 05:53:28 +055328"}}},
        {"America/St_Johns",
         {{1614866767, "2021-03-04 10:36:07 -0330"}, {earliest, "0001-12-31 20:29:08 -033052"}}},
        {"UTC",
         {{1614866767, "2021-03-04 14:06:07 +0000"}, {earliest, "0001-01-01 00:00:00 +0000"}}},
    };
    return zones;
}

// A process has one zone, so this program is run once for each. Alone it runs in Paris.
[[maybe_unused]] const int zoneGiven = [] {
    const char *zone = std::getenv("TZ");
    const bool isKnown = zone != nullptr && expectations().contains(zone);
    return setenv("TZ", "Europe/Paris", isKnown ? 0 : 1);
}();

TEST(Zone, LocalTimesCarryTheirOffset) {
    const auto expected = expectations().find(std::string_view(std::getenv("TZ")));
    ASSERT_NE(expected, expectations().end());
    for (const auto &[seconds, text] : expected->second) {
        EXPECT_EQ(dataStreamApiFormatedDateString(Date{seconds}), text);
        const std::string withoutOffset = std::string(text).substr(0, 19);
        EXPECT_EQ(VMR_postgresDateFormatter().stringFromDate(Date{seconds}), withoutOffset);
    }
}

TEST(Zone, MinutesAreThoseOfTheLocalClock) {
    EXPECT_FALSE(isEqualToDateIgnoringSeconds(Date{springForward - 1}, Date{springForward}));
    EXPECT_TRUE(isEqualToDateIgnoringSeconds(Date{springForward}, Date{springForward + 59}));
}

} // namespace
} // namespace vmr::test
