#include "platform/CurrentDevice.h"

#include <gtest/gtest.h>

namespace vmr {
namespace {

TEST(SystemVersionTest, IsComparedNumberByNumber) {
    for (const char *version : {"9.3", "9.3.1", "9.10", "10", "10.0", "12.04", "99999999999999"})
        EXPECT_TRUE(isVersionAtLeast(version, 9, 3)) << version;
    for (const char *version : {"9.2.9", "9", "8.10", "", "unknown", "9.x", ".9", "-12"})
        EXPECT_FALSE(isVersionAtLeast(version, 9, 3)) << version;
    EXPECT_TRUE(isVersionAtLeast("", 0, 0));
    EXPECT_TRUE(isVersionAtLeast("9", 9, 0));
}

} // namespace
} // namespace vmr
