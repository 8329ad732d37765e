#include "device/DateFormatting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace vmr::test {
namespace {

// 4 March 2021, 14:06:07 UTC.
constexpr double marchSecond = 1614866767;

std::string inGMT(double seconds) {
    return VMR_cmpWebviewDateFormatter().stringFromDate(Date{seconds}).value();
}

TEST(DateFormatters, TheFarEndsOfTheCalendar) {
    EXPECT_EQ(inGMT(Date::distantPast().secondsSince1970), "0001-01-01T00:00:00.000Z");
    EXPECT_EQ(inGMT(-12219292801.0), "1582-10-04T23:59:59.000Z");
    EXPECT_EQ(inGMT(253402300800.0), "10000-01-01T00:00:00.000Z");
    for (const double odd : {1e300, -1e300, std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(inGMT(odd).ends_with(".000Z")) << odd;
}

TEST(DateFormatters, AreMadeOnceAndSharedByThreads) {
    std::vector<std::thread> threads;
    std::vector<const VMRDateFormatter *> seen(4);
    for (auto &slot : seen) {
        threads.emplace_back([&slot] {
            slot = &VMR_dataStreamApiDateFormatter();
            for (int i = 0; i < 100; ++i)
                EXPECT_TRUE(slot->stringFromDate(Date{marchSecond})->starts_with("2021-03-0"));
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen.front()), 4);
}

} // namespace
} // namespace vmr::test
