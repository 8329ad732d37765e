#include "device/DateFormatting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace vmr::test {
namespace {

TEST(DateFormatters, AreMadeOnceAndSharedByThreads) {
    std::vector<std::thread> threads;
    std::vector<const VMRDateFormatter *> seen(4);
    for (auto &slot : seen) {
        threads.emplace_back([&slot] {
            slot = &VMR_dataStreamApiDateFormatter();
            for (int i = 0; i < 100; ++i)
                EXPECT_TRUE(slot->stringFromDate(Date{1614866767})->starts_with("2021-03-0"));
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen.front()), 4);
}

} // namespace
} // namespace vmr::test
