#include "device/DateFormatting.h"
#include "device/DatePredicates.h"

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

TEST(DatePredicates, SentinelsAndAbsentDatesAreNotValid) {
    EXPECT_FALSE(isVMRValid(std::nullopt));
    EXPECT_FALSE(isVMRValid(Date::distantPast()));
    EXPECT_FALSE(isVMRValid(Date::distantFuture()));
    EXPECT_TRUE(isVMRValid(Date{0}));
}

TEST(DatePredicates, OnlyTheStartOfAnIntervalIsOpen) {
    EXPECT_TRUE(isBefore(Date{1}, Date{1}));
    EXPECT_TRUE(isAfter(Date{1}, Date{1}));
    EXPECT_FALSE(isAfter(Date{1}, Date{2}));
    EXPECT_FALSE(isBefore(Date{2}, Date{1}));
    EXPECT_FALSE(isBetweenDate(Date{1}, Date{1}, Date{2}));
    EXPECT_TRUE(isBetweenDate(Date{2}, Date{1}, Date{2}));
    EXPECT_FALSE(isBetweenDate(Date{1.5}, Date{2}, Date{1}));
}

TEST(DatePredicates, SameMinuteIgnoresItsSeconds) {
    const Date start{marchSecond - 7};
    EXPECT_TRUE(isEqualToDateIgnoringSeconds(start, start.addingTimeInterval(59.9)));
    EXPECT_FALSE(
        isEqualToDateIgnoringSeconds(start.addingTimeInterval(59.9), start.addingTimeInterval(60)));
    EXPECT_FALSE(isEqualToDateIgnoringSeconds(start, start.addingTimeInterval(86400)));
    EXPECT_FALSE(isEqualToDateIgnoringSeconds(start, std::nullopt));
}

TEST(DateFormatters, PrintTheirPatternsRoundedToTheNearestMillisecond) {
    const Date date{marchSecond + 0.9996};
    EXPECT_EQ(VMR_awsDateFormatter().stringFromDate(date), "20210304T140608Z");
    EXPECT_EQ(VMR_awsShortDateFormatter().stringFromDate(date), "20210304");
    EXPECT_EQ(inGMT(marchSecond + 0.9996), "2021-03-04T14:06:08.000Z");
    EXPECT_EQ(inGMT(marchSecond + 0.9994), "2021-03-04T14:06:07.999Z");
    EXPECT_EQ(inGMT(-0.25), "1969-12-31T23:59:59.750Z");
    EXPECT_EQ(dataStreamApiFormatedDateString(std::nullopt), std::nullopt);
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
