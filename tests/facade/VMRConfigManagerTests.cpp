#include "facade/VMRDebugLog.h"
#include "support/LogicFixture.h"

#include <atomic>
#include <thread>

namespace vmr::test {
namespace {

class Configuration : public LogicTest {
protected:
    static void save(const char *key, const Value &value) {
        VMRConfigManager::setSavedConfiguration(Value::dictionary({{key, value}}));
    }
    static std::int64_t number(const char *key) {
        return VMRConfigManager::integerConfigValueForKey(key);
    }
};

TEST_F(Configuration, OverlaysTheDefaultsKeyByKey) {
    EXPECT_EQ(number("GET_DEVICE_REQUEST_TIME_INTERVAL"), 48);
    EXPECT_EQ(number("ERRORS_ACTIVE_ARRAY_BUFFER_SIZE"), 50);
    EXPECT_TRUE(VMRConfigManager::boolConfigValueForKey("ERRORS_COLLECT_ACTIVATED"));
    save("ERRORS_POST_TIME_INTERVAL", Value::null());
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 0);
    EXPECT_EQ(VMRConfigManager::actualConfiguration().size(), 9u);
    save("unknown", Value::integer(5));
    EXPECT_EQ(number("unknown"), 5);
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 48) << "a save replaces the one before";
    save("ERRORS_POST_TIME_INTERVAL", Value::string("12"));
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 0);
    EXPECT_EQ(number("missing"), 0);
    VMRConfigManager::setSavedConfiguration(Value::list({Value::integer(1)}));
    EXPECT_EQ(VMRConfigManager::actualConfiguration().size(), 10u);
    VMRConfigManager::setSavedConfiguration(Value());
    EXPECT_TRUE(VMRConfigManager::savedConfiguration().isAbsent());
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 48);
}

TEST_F(Configuration, OpensTheDebugGateFromEitherSide) {
    save("DISPLAY_LOGS", Value::string("true"));
    EXPECT_FALSE(isDebugLogEnabled());
    save("DISPLAY_LOGS", Value::integer(1));
    EXPECT_TRUE(isDebugLogEnabled());
    save("DISPLAY_LOGS", Value::integer(0));
    debugLog("%d", 1);
    openDebugGate();
    debugLog("%d", 2);
    EXPECT_THAT(services.log->lines(), testing::ElementsAre("[VMR] 2"));
}

TEST_F(Configuration, UnreadableArchiveLeavesTheDefaults) {
    save("unknown", Value::integer(5));
    set("VMRSDKConfiguration", "spoilt");
    EXPECT_TRUE(VMRConfigManager::savedConfiguration().isAbsent());
    EXPECT_EQ(services.preferences->stringForKey("VMRSDKConfiguration.unreadable"), "spoilt");
}

TEST_F(Configuration, ReadAfterASaveSeesIt) {
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done)
            number("value");
    });
    for (int value = 1; value <= 200; ++value) {
        save("value", Value::integer(value));
        ASSERT_EQ(number("value"), value);
    }
    done = true;
    reader.join();
}

} // namespace
} // namespace vmr::test
