#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "facade/Velmora.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

namespace vmr::test {
namespace {

constexpr std::string_view v1Key = "IABConsent_ConsentString";
constexpr std::string_view v2Key = "IABTCF_TCString";

/// Keeps the typed request that the real manager never answers.
struct AnsweringManager final : VMRNetworkManager {
    void requestWithType(VMRHttpRequestType, const Dictionary &, const std::vector<std::string> &,
                         VMRSuccessHandler successHandler, VMRErrorHandler) override {
        success = std::move(successHandler);
    }
    VMRSuccessHandler success;
};

class Facade : public testing::Test {
protected:
    Facade() { VMRConfigManager::setSavedConfiguration(Value()); }

    void start() { velmora->configureWithApiKey("key", "secret"); }
    void write(std::string_view key, const char *text) {
        services.preferences->setObject(Value::string(text), key);
    }
    void enterForeground() {
        services.notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    }
    std::size_t stored() const {
        return velmora->consentDataManager()->storedConsentEvents().size();
    }
    bool sent(std::size_t count) {
        return services.loops->runUntil([&] { return services.http->sentCount() == count; });
    }

    TestPlatform services;
    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
};

TEST_F(Facade, StartsInOrderAndSendsNothing) {
    services.bundle->information["VMRLogsEnabled"] = Value::boolean(true);
    start();
    EXPECT_THAT(services.log->lines(),
                testing::ElementsAre(
                    "[VMR] Velmora configureWithApiKey:secret:andMode:",
                    "[VMR] NetworkManager setApiKey:secret:", "[VMR] Velmora addObservers:",
                    "[VMR] ! ! ! ! ! ! Stored consentEvents count ! ! ! ! ! !   -> 0",
                    "last: (null), new: (null)"));
    EXPECT_EQ(stored(), 2u);
    EXPECT_EQ(velmora->deviceDataManager()->deviceData()->firstLaunchDate(), services.clock->now());
    EXPECT_THAT(services.queues->labels, testing::ElementsAre("com.storage.thread_lock"));
    services.loops->runDue();
    EXPECT_EQ(services.http->tasks(), 0u);
}

TEST_F(Facade, HasNoEffectBeforeTheStartCall) {
    enterForeground();
    velmora->performDeviceDataUpdateRequest();
    velmora->performConsentDataPostRequest();
    velmora->performErrorsPostRequest();
    velmora->onDeviceDataUpdateRequestResponse(Value(), {});
    velmora->applicationWillEnterForeground({});
    EXPECT_TRUE(services.queues->labels.empty());
}

TEST_F(Facade, PostsABurstOfChangesOnceAndClearsWhatWasAccepted) {
    start();
    write(v2Key, "first");
    services.loops->advance(0.5);
    write(v2Key, "second");
    EXPECT_EQ(stored(), 4u);
    services.loops->advance(0.9);
    EXPECT_EQ(services.http->sentCount(), 0u);
    services.loops->advance(0.2);
    ASSERT_TRUE(sent(1));
    EXPECT_FALSE(services.loops->hasDelayedCalls());
    services.http->answer(0, 200, "{}");
    EXPECT_TRUE(services.loops->runUntil([&] { return stored() == 0; }));
    EXPECT_TRUE(VMRConsentDataManager().storedConsentEvents().empty());
}

TEST_F(Facade, KeepsEventsOfARefusedPostAndRunsTheNextJobAfterIt) {
    start();
    enterForeground();
    enterForeground();
    ASSERT_TRUE(sent(1));
    services.clock->advance(1);
    services.http->answer(0, 401);
    ASSERT_TRUE(sent(2));
    EXPECT_EQ(stored(), 2u);
    EXPECT_EQ(
        services.log->count("[VMRLocusKit] Warning! Failed to connect to server - Incorrect key"),
        1u);
    services.http->answer(1, 403);
    services.loops->runDue();
    EXPECT_EQ(services.log->countContaining("Incorrect key"), 1u);
    EXPECT_EQ(velmora->deviceDataManager()->deviceData()->nbLaunchesSinceBeginning(), 2);
}

TEST_F(Facade, HoldsEveryJobBackUntilTheDeviceRequestIsAnswered) {
    start();
    const auto real = velmora->networkManager();
    const auto manager = std::make_shared<AnsweringManager>();
    velmora->setNetworkManager(manager);
    velmora->performDeviceDataUpdateRequest();
    ASSERT_TRUE(services.loops->runUntil([&] { return manager->success != nullptr; }));
    velmora->setNetworkManager(real);
    enterForeground();
    services.loops->runDue();
    EXPECT_EQ(services.http->sentCount(), 0u);
    manager->success(Value());
    EXPECT_TRUE(sent(1));
}

TEST_F(Facade, SecondStartCallHandlesEveryChangeTwice) {
    start();
    start();
    const std::size_t before = stored();
    write(v1Key, "text");
    EXPECT_EQ(stored(), before + 2);
}

TEST_F(Facade, StoresAnEventForEveryNewObject) {
    start();
    const Value text = Value::string("text");
    services.preferences->setObject(text, v2Key);
    services.preferences->setObject(text, v2Key);
    EXPECT_EQ(stored(), 3u);
    write(v2Key, "text");
    EXPECT_EQ(stored(), 4u);
    services.preferences->removeObjectForKey(v2Key);
    ASSERT_EQ(stored(), 5u);
    EXPECT_TRUE(velmora->consentDataManager()->storedConsentEvents()[4]->consentString().isNull());

    write("unrelated", "text");
    velmora->observeValueForKeyPath(std::string(v2Key), nullptr, {}, nullptr);
    EXPECT_EQ(stored(), 5u);
}

TEST_F(Facade, DeviceResponseAppliesItsConfigurationButCannotSwitchOff) {
    start();
    const auto device = velmora->deviceDataManager();
    const Value response =
        Value::dictionary({{"enabled", Value::boolean(false)},
                           {"config", Value::dictionary({{"DISPLAY_LOGS", Value::integer(1)}})}});
    velmora->onDeviceDataUpdateRequestResponse(response, {{"a", Value::integer(1)}});
    EXPECT_TRUE(device->deviceData()->isSdkEnabled());
    EXPECT_FALSE(device->isNewDevice());
    EXPECT_EQ(device->savedVMRId(), device->VMRId());
    EXPECT_TRUE(isDebugLogEnabled());
    velmora->onDeviceDataUpdateRequestResponse(Value::list({}), {});
    EXPECT_FALSE(isDebugLogEnabled());
    EXPECT_EQ(services.log->countContaining("Successfully initialized for device"), 1u);
}

TEST(Configuration, OverlaysTheDefaultsKeyByKey) {
    const TestPlatform services;
    const auto save = [](const char *key, const Value &value) {
        VMRConfigManager::setSavedConfiguration(Value::dictionary({{key, value}}));
    };
    const auto number = &VMRConfigManager::integerConfigValueForKey;
    VMRConfigManager::setSavedConfiguration(Value());
    EXPECT_EQ(number("GET_DEVICE_REQUEST_TIME_INTERVAL"), 48);
    EXPECT_TRUE(VMRConfigManager::boolConfigValueForKey("ERRORS_COLLECT_ACTIVATED"));
    save("ERRORS_POST_TIME_INTERVAL", Value::null());
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 0);
    save("unknown", Value::integer(5));
    EXPECT_EQ(number("unknown"), 5);
    EXPECT_EQ(number("ERRORS_POST_TIME_INTERVAL"), 48);
    save("DISPLAY_LOGS", Value::string("true"));
    EXPECT_FALSE(isDebugLogEnabled());
    save("DISPLAY_LOGS", Value::integer(1));
    EXPECT_TRUE(isDebugLogEnabled());
    VMRConfigManager::setSavedConfiguration(Value::list({Value::integer(1)}));
    EXPECT_FALSE(isDebugLogEnabled());
    EXPECT_EQ(VMRConfigManager::actualConfiguration().size(), 10u);
}

} // namespace
} // namespace vmr::test
