#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/ErrorKeys.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRDebugLog.h"
#include "facade/Velmora.h"
#include "support/Scenario.h"

namespace vmr::test {
namespace {

constexpr std::string_view v1Key = TCFv1ConsentStringKey;
constexpr std::string_view v2Key = TCFv2ConsentStringKey;
constexpr double hour = 3600;
const char *const identifier = "0F9619FF-8B86-4011-B42D-00CF4FC964FF";

/// Keeps the typed request that the real manager never answers.
struct TypedRequest final : VMRNetworkManager {
    void requestWithType(VMRHttpRequestType type, const Dictionary &params,
                         const std::vector<std::string> &ids, VMRSuccessHandler successHandler,
                         VMRErrorHandler errorHandler) override {
        List texts;
        for (const std::string &id : ids)
            texts.push_back(Value::string(id));
        tell(Value::list({Value::integer(type), Value::dictionary(params), Value::list(texts)}));
        success = std::move(successHandler);
        failure = std::move(errorHandler);
    }
    std::function<void(const Value &)> tell;
    VMRSuccessHandler success;
    VMRErrorHandler failure;
};

/// A whole SDK, and what can be seen of it from outside.
class WholeSDK : public Scenario {
protected:
    ~WholeSDK() override { services.log->onWrite = nullptr; }
    void start(const std::string &what = "start call") {
        step(what, [this] { velmora->configureWithApiKey("k1", "s3"); });
    }
    /// An installation that the backend knows, with nothing to tell it.
    void settleIn() {
        set(DeviceDataVMRId, identifier);
        for (const auto key : {v2Key, VMRLastTCFv1StringKey, VMRLastTCFv2StringKey})
            set(key, "known");
    }
    static std::shared_ptr<VMRError> error(const char *message) {
        return std::make_shared<VMRError>("kind", message, "stack", Dictionary());
    }
    void typedRequests() {
        network->tell = [this](const Value &request) {
            ++underWay;
            tell("typed request", request);
        };
        velmora->setNetworkManager(network);
    }
    void answerTyped(const std::string &what, const std::function<void()> &handler) {
        --underWay;
        step(what, handler);
    }
    void fillErrorSlot() { velmora->setLogManager(std::make_shared<VMRErrorManager>()); }

    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
    std::shared_ptr<TypedRequest> network = std::make_shared<TypedRequest>();
};

TEST_F(WholeSDK, OneRoadFromTheFirstStartToAnEmptyList) {
    openDebugGate();
    services.advertising->status = 3;
    start();
    for (const std::string &label : queues->labels)
        tell("queue", label);
    step("an unrelated key is set", [this] { set("unrelated", "text"); });
    setValue(v2Key, Value::string("CPcQbsAPcQbsAAGABCENB9CsAP_AAH_AAAAA"));
    later(0.5);
    setValue(v2Key, Value::string("CPcQbsAPcQbsAAGABCENB9CsAP_AAH_AAAAB"));
    later(0.875);
    later(0.125);
    setValue(v1Key, Value::string("BOEFEAyOEFEAyAHABDENAI4AAAB9vABAASA"));
    later(1);
    answer(200, R"({"accepted":4})");
    expectRecorded();
}

TEST_F(WholeSDK, EveryKindOfValueIsAnEventOrAnErrorEntry) {
    openDebugGate();
    settleIn();
    start();
    fillErrorSlot();
    const Value same = Value::string("the same object");
    setValue(v2Key, same);
    setValue(v2Key, same);
    setValue(v2Key, Value::string("the same object"));
    step("removed", [this] { services.preferences->removeObjectForKey(v2Key); });
    setValue(v1Key, Value::integer(7));
    setValue(v1Key, Value::boolean(true));
    setValue(v1Key, Value::list({Value::real(0.5), Value::null()}));
    setValue(v1Key, Value::dictionary({{"a", Value::string("é\n\"")}}));
    setValue(v1Key, Value::data(Data("\x01\xff")));
    setValue(v1Key, Value::date(Date{1614866767.5}));
    later(1);
    answer(503);
    expectRecorded();
}

TEST_F(WholeSDK, OnlyA200TakesTheEventsAway) {
    settleIn();
    start();
    fillErrorSlot();
    set(v2Key, "new");
    later(1);
    const PlatformError timeout{NSURLErrorDomain, -1001, {}};
    complete("transport failure", {timeout, std::nullopt, Data()});
    const std::pair<int, const char *> answers[] = {
        {500, R"({"why":"full"})"}, {401, "{}"}, {403, "<html>"}, {204, ""}, {200, "\"text\""}};
    for (const auto &[status, body] : answers) {
        later(1);
        enterForeground();
        answer(status, body);
    }
    later(1);
    complete("no HTTP", (enterForeground(), HTTPOutcome{std::nullopt, std::nullopt, Data("{}")}));
    later(1);
    services.guard->decision = {false, "a proxy is configured"};
    openDebugGate();
    enterForeground();
    services.bundle->information.erase("VMRLogsEnabled");
    later(1);
    services.guard->decision.allowed = true;
    enterForeground();
    answer(200);
    tell("events left", std::int64_t(velmora->consentDataManager()->storedConsentEventCount()));
    expectRecorded();
}

TEST_F(WholeSDK, SecondStartCallDoesAllOfItAgainAndEveryChangeTwice) {
    services.advertising->status = 3;
    start();
    openDebugGate();
    start("second start call");
    setValue(v2Key, Value::string("new"));
    services.bundle->information.erase("VMRLogsEnabled");
    later(1);
    enterForeground();
    answer(200);
    expectRecorded();
}

TEST_F(WholeSDK, EventsAreTheSameAfterARestart) {
    services.advertising->status = 3;
    set(v2Key, "first");
    start();
    enterForeground();
    answer(500);
    later(10);
    openDebugGate();
    step("the process ends", [this] { velmora = nullptr; });
    set(v2Key, "changed while nobody ran");
    velmora = std::make_shared<Velmora>();
    start("start of the next process");
    enterForeground();
    services.bundle->information.erase("VMRLogsEnabled");
    answer(500);
    velmora = std::make_shared<Velmora>();
    start("start of a third process, nothing has changed");
    setValue(v1Key, Value::string("v1"));
    velmora = std::make_shared<Velmora>();
    start("start after a new v1 string, which is compared with the v2 string");
    expectRecorded();
}

TEST_F(WholeSDK, DeviceResponseIsAppliedStepByStep) {
    openDebugGate();
    start();
    transcript.rename(*velmora->deviceDataManager()->VMRId(), "<fresh identifier>");
    const Value config = Value::dictionary({{"DISPLAY_LOGS", Value::integer(1)},
                                            {"GET_DEVICE_REQUEST_TIME_INTERVAL", Value::real(3.9)},
                                            {"ERRORS_POST_TIME_INTERVAL", Value::null()}});
    const Dictionary sent{{"n", Value::dictionary({{"x", Value::integer(1)}})}};
    step("response with a configuration, \"enabled\" false", [&] {
        velmora->onDeviceDataUpdateRequestResponse(
            Value::dictionary({{"enabled", Value::boolean(false)}, {"config", config}}), sent);
    });
    services.bundle->information.erase("VMRLogsEnabled");
    tell("configuration", VMRConfigManager::actualConfiguration());
    tell("enabled", velmora->deviceDataManager()->deviceData()->isSdkEnabled());
    later(60);
    for (const Value &other :
         {Value::list({}), Value::dictionary({{"config", Value::string("text")}}), Value()}) {
        step("response " + shown(other), [&] {
            openDebugGate();
            velmora->onDeviceDataUpdateRequestResponse(other, {});
            services.bundle->information.erase("VMRLogsEnabled");
        });
        tell("configuration", VMRConfigManager::actualConfiguration());
    }
    expectRecorded();
}

TEST_F(WholeSDK, DeviceJobAsksForAnIdentityUntilItHasOne) {
    openDebugGate();
    set(v2Key, "known");
    set(VMRLastTCFv1StringKey, "known");
    set(VMRLastTCFv2StringKey, "known");
    start();
    fillErrorSlot();
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}});
    velmora->deviceDataManager()->setVMRId(identifier);
    typedRequests();
    const auto job = [this] { velmora->performDeviceDataUpdateRequest(); };
    step("device job of a new device", job);
    enterForeground();
    answerTyped("answer 500", [this] { network->failure(500, error("said no")); });
    step("again at once", job);
    answerTyped("answer 0 without a record", [this] { network->failure(0, nullptr); });
    later(2 * hour);
    step("exactly two hours after", job);
    answerTyped("accepted", [this] { network->success(Value()); });
    later(0.25);
    step("a quarter of a second later", job);
    answerTyped("accepted", [this] { network->success(Value()); });
    step("response", [this] { velmora->onDeviceDataUpdateRequestResponse(Value(), {}); });
    step("of a known device", job);
    later(48 * hour);
    step("exactly two days after", job);
    later(1);
    step("a second later", job);
    expectRecorded();
}

TEST_F(WholeSDK, KnownDeviceThatIsNotDueTellsItsStatusOnce) {
    settleIn();
    start();
    velmora->deviceDataManager()->setLastGetDeviceDate(services.clock->now());
    for (int time = 0; time < 2; ++time)
        step("device job", [this] { velmora->performDeviceDataUpdateRequest(); });
    expectRecorded();
}

TEST_F(WholeSDK, SystemsBeforeVersion9AreToldThatTheyAreNotSupported) {
    settleIn();
    services.device->version = "8.4";
    start();
    step("response", [this] { velmora->onDeviceDataUpdateRequestResponse(Value(), {}); });
    expectRecorded();
}

TEST_F(WholeSDK, ErrorsJobSendsTheListUntilItIsAccepted) {
    openDebugGate();
    settleIn();
    start();
    fillErrorSlot();
    const auto job = [this] { velmora->performErrorsPostRequest(); };
    step("nothing to send", job);
    step("two entries are stored", [this] {
        velmora->logManager()->storeErrors({error("é \"first\""), error("")});
    });
    enterForeground();
    step("one more while the post is under way",
         [this] { velmora->logManager()->storeError(error("meanwhile")); });
    later(5);
    answer(500, R"({"why":"full"})");
    later(12 * hour - 5);
    step("exactly the interval after the attempt", job);
    later(0.25);
    step("later", job);
    later(5);
    answer(200, "[1]");
    step("an entry for the next post",
         [this] { velmora->logManager()->storeError(error("next")); });
    later(48 * hour);
    step("exactly two days after the answer", job);
    later(1);
    step("a second later", job);
    answer(200);
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}});
    step("an entry while nothing is collected",
         [this] { velmora->logManager()->storeError(error("latent")); });
    later(100 * hour);
    step("errors job", job);
    expectRecorded();
}

TEST_F(WholeSDK, HandlersThatNothingCallsOnlySayThatTheyRan) {
    openDebugGate();
    step("before the start", [this] {
        velmora->applicationDidBecomeActive({});
        velmora->applicationDidEnterBackground({});
        velmora->applicationWillEnterForeground({});
        velmora->onDeviceDataUpdateRequestResponse(Value(), {});
        velmora->performDeviceDataUpdateRequest();
        velmora->storeEventWithConsentStringChange({}, nullptr);
        velmora->observeValueForKeyPath(std::string(v2Key), nullptr, {}, nullptr);
        velmora->observeValueForKeyPath("other", services.preferences.get(), {}, nullptr);
        velmora->observeValueForKeyPath(std::string(v1Key), services.preferences.get(), {},
                                        nullptr);
    });
    later(1);
    for (const std::int64_t status : {401, 403, 0}) {
        VMRNetworkManager manager;
        step("status " + std::to_string(status), [&] { velmora->networkManager(manager, status); });
    }
    expectRecorded();
}

TEST_F(WholeSDK, ConfigurationCountsNumbersOnly) {
    tell("defaults", VMRConfigManager::actualConfiguration());
    const Value odd[] = {Value::null(),        Value::string("12"),      Value::boolean(true),
                         Value::real(1.9),     Value::real(-0.5),        Value::integer(-3),
                         Value::real(1e300),   Value::list({}),          Value::date(Date{5}),
                         Value::string("YES"), Value::integer(INT64_MIN)};
    for (const Value &value : odd) {
        step("DISPLAY_LOGS and a key of its own " + shown(value), [&] {
            VMRConfigManager::setSavedConfiguration(
                Value::dictionary({{"DISPLAY_LOGS", value}, {"own", value}}));
        });
        tell("keys", std::int64_t(VMRConfigManager::actualConfiguration().size()));
        tell("number", VMRConfigManager::integerConfigValueForKey("own"));
        tell("gate", isDebugLogEnabled());
        tell("others", VMRConfigManager::integerConfigValueForKey("ERRORS_POST_TIME_INTERVAL"));
    }
    for (const Value &value : {Value::list({Value::integer(1)}), Value()}) {
        step("configuration " + shown(value),
             [&] { VMRConfigManager::setSavedConfiguration(value); });
        tell("saved", VMRConfigManager::savedConfiguration());
        tell("keys", std::int64_t(VMRConfigManager::actualConfiguration().size()));
    }
    step("spoilt", [this] { set("VMRSDKConfiguration", "spoilt"); });
    tell("saved", VMRConfigManager::savedConfiguration());
    tell("missing", VMRConfigManager::boolConfigValueForKey("missing"));
    for (const Value &value : {Value::string("true"), Value::integer(0), Value::string("no")}) {
        services.bundle->information["VMRLogsEnabled"] = value;
        tell("gate by the host's " + shown(value), isDebugLogEnabled());
    }
    services.device->version = "9.2.9";
    step("saved on an old system",
         [] { VMRConfigManager::setSavedConfiguration(Value::dictionary({})); });
    expectRecorded();
}

} // namespace
} // namespace vmr::test
