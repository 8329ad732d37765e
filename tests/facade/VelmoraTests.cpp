#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRDebugLog.h"
#include "facade/Velmora.h"
#include "support/LogicFixture.h"

namespace vmr::test {
namespace {

constexpr std::string_view v1Key = TCFv1ConsentStringKey;
constexpr std::string_view v2Key = TCFv2ConsentStringKey;

/// Keeps the typed request that the real manager never answers.
struct AnsweringManager final : VMRNetworkManager {
    void requestWithType(VMRHttpRequestType, const Dictionary &, const std::vector<std::string> &,
                         VMRSuccessHandler successHandler, VMRErrorHandler errorHandler) override {
        success = std::move(successHandler);
        failure = std::move(errorHandler);
    }
    VMRSuccessHandler success;
    VMRErrorHandler failure;
};

class Facade : public LogicTest {
protected:
    ~Facade() override { earlierStatusLines = statusLines(); }

    void start() { velmora->configureWithApiKey("key", "secret"); }
    void enterForeground() {
        services.notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    }
    std::size_t stored() const {
        return velmora->consentDataManager()->storedConsentEvents().size();
    }
    bool sent(std::size_t count) {
        return services.loops->runUntil([&] { return services.http->sentCount() == count; });
    }
    /// Starts the errors job with an entry to post; its manager.
    std::shared_ptr<VMRErrorManager> postOneError() {
        const auto errors = std::make_shared<VMRErrorManager>();
        velmora->setLogManager(errors);
        errors->storeError(
            std::make_shared<VMRError>("kind", std::nullopt, std::nullopt, std::nullopt));
        velmora->performErrorsPostRequest();
        return errors;
    }
    /// Status lines of this process, also of earlier tests.
    std::size_t statusLines() const {
        const auto device = velmora->deviceDataManager();
        return earlierStatusLines +
               (device ? services.log->count("[VelmoraKit v" + VMRSystemInfosFetcher::sdkVersion() +
                                             "] ✅ Successfully initialized for device " +
                                             *device->VMRId())
                       : 0);
    }

    static inline std::size_t earlierStatusLines = 0;
    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
};

TEST_F(Facade, StartsInOrderAndSendsNothing) {
    openDebugGate();
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
    set(v2Key, "first");
    services.loops->advance(0.5);
    set(v2Key, "second");
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
    ASSERT_TRUE(services.loops->runUntil([this] { return services.queues->jobs->begun >= 2; }));
    services.loops->runDue();
    EXPECT_EQ(services.queues->jobs->ended, 1);
    EXPECT_EQ(services.http->sentCount(), 0u);
    manager->success(Value());
    EXPECT_TRUE(sent(1));
}

TEST_F(Facade, AJobThatThrowsHoldsNobodyUp) {
    start();
    const auto clock = velmora->actualDateProvider();
    velmora->setActualDateProvider([]() -> Date { throw std::bad_alloc(); });
    velmora->performConsentDataPostRequest();
    // A real loop tells of it and goes on.
    EXPECT_THROW(services.loops->runUntil([] { return false; }), std::bad_alloc);
    velmora->setActualDateProvider(clock);
    velmora->performConsentDataPostRequest();
    EXPECT_TRUE(sent(1));
}

TEST_F(Facade, AnAnswersHandlerThatThrowsHoldsNobodyUp) {
    start();
    const auto errors = postOneError();
    ASSERT_TRUE(sent(1));
    ASSERT_TRUE(
        services.loops->runUntil([&] { return !errors->lastPostLogsAttemptDate().isAbsent(); }));
    const auto clock = velmora->actualDateProvider();
    velmora->setActualDateProvider([]() -> Date { throw std::bad_alloc(); });
    services.http->answer(0, 200);
    EXPECT_THROW(services.loops->runUntil([] { return false; }), std::bad_alloc);
    velmora->setActualDateProvider(clock);
    enterForeground();
    EXPECT_TRUE(sent(2));
}

TEST_F(Facade, SecondStartCallHandlesEveryChangeTwice) {
    start();
    start();
    const std::size_t before = stored();
    set(v1Key, "text");
    EXPECT_EQ(stored(), before + 2);
}

TEST_F(Facade, StoresAnEventForEveryNewObject) {
    start();
    const Value text = Value::string("text");
    services.preferences->setObject(text, v2Key);
    services.preferences->setObject(text, v2Key);
    EXPECT_EQ(stored(), 3u);
    set(v2Key, "text");
    EXPECT_EQ(stored(), 4u);
    services.preferences->removeObjectForKey(v2Key);
    ASSERT_EQ(stored(), 5u);
    EXPECT_TRUE(velmora->consentDataManager()->storedConsentEvents()[4]->consentString().isNull());

    set("unrelated", "text");
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
    EXPECT_EQ(statusLines(), 1u);
}

TEST_F(Facade, CountsReturnsToTheForegroundAndQueuesTheJobsInOrder) {
    for (const auto key : {v2Key, VMRLastTCFv1StringKey, VMRLastTCFv2StringKey})
        set(key, "known");
    start();
    EXPECT_EQ(stored(), 0u);
    velmora->setLogManager(std::make_shared<VMRErrorManager>());
    openDebugGate();
    for (int count = 0; count < 3; ++count)
        enterForeground();
    const auto decisions = [this] {
        std::string order;
        for (const std::string &line : services.log->lines()) {
            if (line.find("Should post consent datas") != std::string::npos)
                order += 'c';
            if (line.find("Should post errors") != std::string::npos)
                order += 'e';
        }
        return order;
    };
    EXPECT_TRUE(services.loops->runUntil([&] { return decisions().size() == 6; }));
    EXPECT_EQ(decisions(), "cecece");
    EXPECT_EQ(VMRDeviceData::savedData()->nbLaunchesSinceBeginning(), 3);
    EXPECT_EQ(services.http->tasks(), 0u);
}

TEST_F(Facade, ObservedChangeIsWrittenLineByLine) {
    start();
    openDebugGate();
    services.log->clear();
    set(v1Key, "text");
    set("unrelated", "text");
    const std::string object = services.preferences->description();
    EXPECT_THAT(
        services.log->lines(),
        testing::ElementsAre(
            "[VMR] Velmora observeValueForKeyPath: IABConsent_ConsentString object:" + object,
            "[VMR] ************ observeValueForKeyPath : IABConsent_ConsentString",
            "[VMR] ************ observeValueForKeyPath -> new value : text -> old value : "
            "<null>"));
    EXPECT_TRUE(velmora->consentDataManager()->lastTCFv1String().isEqualTo(Value::string("text")));
}

TEST_F(Facade, ErrorsJobPostsWhatTheLogManagerHolds) {
    for (const auto key : {v2Key, VMRLastTCFv1StringKey, VMRLastTCFv2StringKey})
        set(key, "known");
    start();
    const auto errors = postOneError();
    ASSERT_TRUE(sent(1));
    EXPECT_TRUE(services.http->sent()[0].url.ends_with("devices_errors"));
    const Value attempt = Value::date(services.clock->now());
    EXPECT_TRUE(services.loops->runUntil(
        [&] { return errors->lastPostLogsAttemptDate().isEqualTo(attempt); }));
    services.http->answer(0, 500);
    EXPECT_TRUE(services.loops->runUntil([&] { return errors->storedLogs().size() == 2; }));
    EXPECT_EQ(errors->storedLogs()[1]->error(), "iOS HttpError");

    services.clock->advance(12 * 3600 + 1);
    velmora->performErrorsPostRequest();
    ASSERT_TRUE(sent(2));
    services.http->answer(1, 200);
    EXPECT_TRUE(services.loops->runUntil([&] { return errors->storedLogs().empty(); }));
    services.loops->runDue();
    EXPECT_TRUE(VMRErrorManager().storedLogs().empty());
    EXPECT_TRUE(errors->lastPostLogsDate().isEqualTo(Value::date(services.clock->now())));
}

TEST_F(Facade, FailedDeviceRequestIsRecordedAndFreesTheLock) {
    start();
    openDebugGate();
    const auto manager = std::make_shared<AnsweringManager>();
    velmora->setNetworkManager(manager);
    velmora->setLogManager(std::make_shared<VMRErrorManager>());
    velmora->performDeviceDataUpdateRequest();
    ASSERT_TRUE(services.loops->runUntil([&] { return manager->failure != nullptr; }));
    manager->failure(500, nullptr);
    EXPECT_EQ(services.log->count("[VMR] -> error 1 /devices. code 500, (null)"), 1u);
    EXPECT_TRUE(velmora->deviceDataManager()->lastPostDeviceAttemptDate().isEqualTo(
        Value::date(services.clock->now())));
    EXPECT_EQ(statusLines(), 1u);

    services.clock->advance(2 * 3600 + 1);
    manager->failure = nullptr;
    velmora->performDeviceDataUpdateRequest();
    ASSERT_TRUE(services.loops->runUntil([&] { return manager->failure != nullptr; }));
    manager->failure(0,
                     std::make_shared<VMRError>("kind", std::nullopt, std::nullopt, std::nullopt));
    EXPECT_EQ(velmora->logManager()->storedLogs().size(), 1u);
}

TEST_F(Facade, KnownDeviceThatIsNotDueTellsItsStatusOnceInAProcess) {
    start();
    const auto device = velmora->deviceDataManager();
    device->setIsNewDevice(false);
    device->setLastGetDeviceDate(services.clock->now());
    device->deviceData()->setLastUpdateDeviceParametersSent(
        Value::dictionary(device->postDeviceParams()));
    const auto manager = std::make_shared<AnsweringManager>();
    velmora->setNetworkManager(manager);
    velmora->performDeviceDataUpdateRequest();
    velmora->performDeviceDataUpdateRequest();
    ASSERT_TRUE(services.loops->runUntil([this] { return services.queues->jobs->ended == 2; }));
    services.loops->runDue();
    EXPECT_EQ(statusLines(), 1u);
    EXPECT_TRUE(manager->failure == nullptr);
}

} // namespace
} // namespace vmr::test
