#include "network/IngestBaseAddress.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

TEST(IngestBaseAddress, TheHostsInformationOverridesTheDeployments) {
    TestPlatform platform;
    platform.bundle->information["VMRIngestBaseAddress"] = Value::string("https://own.example/");
    EXPECT_EQ(ingestBaseAddress(), "https://own.example/");
    platform.bundle->information.erase("VMRIngestBaseAddress");
    EXPECT_EQ(ingestBaseAddress(), DEPLOYMENT_ADDRESS);
    EXPECT_TRUE(platform.log->lines().empty());

    // A refused address is not replaced by another service's.
    for (const Value &refused : {Value::string("http://own.example/"), Value::integer(7)}) {
        platform.log->clear();
        platform.bundle->information["VMRIngestBaseAddress"] = refused;
        EXPECT_EQ(ingestBaseAddress(), "");
        EXPECT_EQ(platform.log->countContaining("VMRIngestBaseAddress"), 1u);
    }
}

} // namespace
} // namespace vmr::test
