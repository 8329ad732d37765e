#include "device/VMRSystemInfosFetcher.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

TEST(SystemInfos, BundleIdentifierKeepsItsTail) {
    const TestPlatform services;
    const auto shortened = [&](const std::string &identifier) {
        services.bundle->identifier = identifier;
        return VMRSystemInfosFetcher::bundleIdShort();
    };
    const std::string tail(256, 't');
    EXPECT_EQ(shortened(tail.substr(1)), tail.substr(1));
    EXPECT_EQ(shortened(tail), tail);
    EXPECT_EQ(shortened(std::string(44, 'h') + tail), tail);
    // Lengths are counted in UTF-16 units: these are 300 of them.
    EXPECT_EQ(shortened(std::string(44, 'h') + "é" + tail.substr(1)), "é" + tail.substr(1));

    services.bundle->identifier.reset();
    EXPECT_EQ(VMRSystemInfosFetcher::bundleIdShort(), std::nullopt);
}

TEST(SystemInfos, TrackingFollowsTheStatusFromVersion14On) {
    const TestPlatform services;
    for (const std::uint64_t status : {0u, 1u, 2u, 3u}) {
        services.advertising->status = status;
        services.advertising->enabled = status < 2;
        services.device->version = "14.0";
        EXPECT_EQ(VMRSystemInfosFetcher::isAdTrackingEnabled(), status == 3);
        services.device->version = "13.9";
        EXPECT_EQ(VMRSystemInfosFetcher::isAdTrackingEnabled(), status < 2);
    }
}

TEST(SystemInfos, VendorIdentifierIsEmptyWhereTheSystemHasNone) {
    const TestPlatform services;
    EXPECT_EQ(VMRSystemInfosFetcher::idfv(), services.device->vendor);
    services.device->vendor.reset();
    EXPECT_EQ(VMRSystemInfosFetcher::idfv(), std::nullopt);
    services.device->responds = false;
    EXPECT_EQ(VMRSystemInfosFetcher::idfv(), "");
}

TEST(SystemInfos, ApplicationVersionIsATextOrNothing) {
    const TestPlatform services;
    Value &version = services.bundle->information["CFBundleShortVersionString"];
    EXPECT_EQ(VMRSystemInfosFetcher::appVersion(), "2.5");
    version = Value::real(2.5);
    EXPECT_EQ(VMRSystemInfosFetcher::appVersion(), "2.5");
    version = Value::null();
    EXPECT_EQ(VMRSystemInfosFetcher::appVersion(), std::nullopt);
}

} // namespace
} // namespace vmr::test
