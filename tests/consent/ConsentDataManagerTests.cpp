#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRErrorManager.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "support/LogicFixture.h"

#include <thread>

namespace vmr::test {
namespace {

/// Keeps the handlers of the post, for the test to answer.
struct HeldPost final : VMRNetworkManager {
    void postDatas(const std::optional<List> &items, VMRIngestType type,
                   const Dictionary &parameters, VMRSuccessHandler successHandler,
                   VMRErrorHandler errorHandler) override {
        EXPECT_EQ(type, VMRIngestTypeConsents);
        EXPECT_FALSE(parameters.empty());
        batches.push_back(*items);
        success = std::move(successHandler);
        failure = std::move(errorHandler);
    }
    std::vector<List> batches;
    VMRSuccessHandler success;
    VMRErrorHandler failure;
};

class Consents : public LogicTest {
protected:
    void post() {
        manager->postDataWithManager(network, device, errors, services.clock->now(),
                                     [this] { ++completions; });
    }
    static std::string eventId(const Dictionary &item) {
        return *valueForKey(item, "eventId").asString();
    }
    std::size_t stored() const {
        return deviceDataArrayWithType(DeviceDataConsentEvents).asList()->size();
    }

    std::shared_ptr<VMRConsentDataManager> manager = std::make_shared<VMRConsentDataManager>();
    std::shared_ptr<VMRDeviceDataManager> device = std::make_shared<VMRDeviceDataManager>();
    std::shared_ptr<VMRErrorManager> errors = std::make_shared<VMRErrorManager>();
    std::shared_ptr<HeldPost> network = std::make_shared<HeldPost>();
    int completions = 0;
};

TEST_F(Consents, StartStoresAnEventForEachSideThatDiffersFromTheV2String) {
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 2u);
    EXPECT_TRUE(manager->lastTCFv1String().isAbsent());
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    set("IABTCF_TCString", "X");
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 6u);
    EXPECT_FALSE(manager->checkAndStoreTCStringsIfChanged());
    set("IABConsent_ConsentString", "v1");
    manager->setSavedConsentStringForKey("IABConsent_ConsentString");
    EXPECT_EQ(*manager->lastTCFv1String().asString(), "v1");
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 7u);
    EXPECT_EQ(*manager->lastTCFv1String().asString(), "X");
    EXPECT_EQ(services.log->count("last: X, new: X"), 2u);
}

TEST_F(Consents, PostIsDueStrictlyAfterBothIntervalsOrWhenTheClockWentBack) {
    EXPECT_TRUE(manager->shouldPostConsentEventDatas());
    EXPECT_FALSE(manager->shouldPostData());
    configure({{"LOGS_REQUEST_SEND_TIME_INTERVAL", 1}, {"LOGS_REQUEST_ATTEMPT_TIME_INTERVAL", 2}});
    const Date now = services.clock->now();
    const struct {
        double sinceLast, sinceAttempt;
        bool answer;
    } cases[] = {{3600, 7201, false}, {3601, 7200, false}, {3601, 7201, true},
                 {-1, 0, true},       {0, -1, true},       {0, 0, false}};
    for (const auto &[sinceLast, sinceAttempt, answer] : cases) {
        manager->setLastSendConsentDatasDate(now.addingTimeInterval(-sinceLast));
        manager->setLastSendConsentDatasAttemptDate(now.addingTimeInterval(-sinceAttempt));
        EXPECT_EQ(manager->shouldPostConsentEventDatas(), answer)
            << sinceLast << ' ' << sinceAttempt;
    }
}

TEST_F(Consents, EventIdentifierIsADigestOverTheTextsEvenOfMissingValues) {
    VMRConsentEvent event;
    const Dictionary json = event.formatedJsonWithUUID(std::nullopt);
    EXPECT_TRUE(valueForKey(json, "consentString").isNull());
    EXPECT_TRUE(valueForKey(json, "localDate").isAbsent());
    EXPECT_EQ(*valueForKey(json, "eventId").asString(), VMR_sha256("(null);(null);(null)"));
}

TEST_F(Consents, EventSurvivesTheArchive) {
    const auto event = std::make_shared<VMRConsentEvent>();
    event->setConsentString(Value::string("text"));
    event->setDate(services.clock->now());
    const auto again = [](const std::shared_ptr<VMRConsentEvent> &one) {
        const auto root = unarchiveObjectWithData(archivedDataWithRootObject(Value::record(one)));
        return recordOfClass<VMRConsentEvent>(*root);
    };
    EXPECT_TRUE(again(event)->consentString().isEqualTo(Value::string("text")));
    EXPECT_EQ(again(event)->date(), event->date());
    EXPECT_EQ(eventId(again(event)->formatedJsonWithUUID("id")),
              eventId(event->formatedJsonWithUUID("id")));
    event->setConsentString(Value::null());
    event->setDate(std::nullopt);
    EXPECT_TRUE(again(event)->consentString().isNull());
    EXPECT_FALSE(again(event)->date());
}

TEST_F(Consents, DecisionIsWrittenLineByLine) {
    openDebugGate();
    configure({{"LOGS_REQUEST_SEND_TIME_INTERVAL", 1}, {"LOGS_REQUEST_ATTEMPT_TIME_INTERVAL", 2}});
    const Date now = services.clock->now();
    manager->setLastSendConsentDatasDate(now.addingTimeInterval(-90.7));
    manager->setLastSendConsentDatasAttemptDate(now.addingTimeInterval(5));
    services.log->clear();
    EXPECT_FALSE(manager->shouldPostData());
    EXPECT_THAT(services.log->lines(),
                testing::ElementsAre(
                    "[VMR] ************** Should post consent datas ******************",
                    "[VMR]    - last send logs date    : 2021-03-04 14:04:36 +0000 - (90 / 3600)",
                    "[VMR]    - last send logs attempt : 2021-03-04 14:06:12 +0000 - (-5 / 7200)",
                    "[VMR]    - So? Should post ?           -> 0",
                    "[VMR]    - hasConsentEventsToSend: 0", "[VMR] - Should Post: 0"));
}

TEST_F(Consents, PostThatIsNotDueOrHasNothingValidEndsAtOnce) {
    post();
    EXPECT_EQ(completions, 1);
    manager->storeConsentStringEvent(Value::data(Data("x")));
    post();
    post();
    EXPECT_EQ(completions, 3);
    ASSERT_EQ(errors->storedLogs().size(), 2u);
    const auto error = errors->storedLogs()[0];
    EXPECT_EQ(error->error(), "iOS non-serializable event");
    EXPECT_FALSE(error->message());
    EXPECT_TRUE(valueForKey(error->metadata().value(), "Error")
                    .asString()
                    ->starts_with("Event not JSON Serialisable: {\n"));
    EXPECT_TRUE(network->batches.empty());
    EXPECT_TRUE(
        manager->lastSendConsentDatasAttemptDate().isEqualTo(Value::date(Date::distantPast())));
    EXPECT_EQ(stored(), 1u);
}

TEST_F(Consents, FailedPostKeepsTheEventsAndSendsThemAgainUnchanged) {
    openDebugGate();
    manager->storeConsentStringEvent(Value::string("text"));
    manager->storeConsentStringEvent(Value::data(Data("x")));
    const Value run = Value::date(services.clock->now());
    post();
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(manager->lastSendConsentDatasAttemptDate().isEqualTo(run));
    post();
    EXPECT_EQ(completions, 1) << "an attempt of the same moment holds the next one back";
    network->failure(500,
                     std::make_shared<VMRError>("kind", std::nullopt, std::nullopt, std::nullopt));
    EXPECT_EQ(completions, 2);
    EXPECT_EQ(stored(), 2u);
    EXPECT_EQ(errors->storedLogs().size(), 2u);
    EXPECT_EQ(errors->storedLogs()[1]->error(), "kind");
    EXPECT_EQ(services.log->countContaining("[VMR] -> Data Stream API error send TCString {\n"
                                            "    exception = kind;"),
              1u);

    services.clock->advance(1);
    post();
    ASSERT_EQ(network->batches.size(), 2u);
    ASSERT_EQ(network->batches[1].size(), 1u);
    EXPECT_EQ(eventId(*network->batches[0][0].asDictionary()),
              eventId(*network->batches[1][0].asDictionary()));
    network->failure(0, nullptr);
    EXPECT_EQ(services.log->count("[VMR] -> Data Stream API error send TCString (null)"), 1u);
}

TEST_F(Consents, AcceptedPostClearsTheWholeListAsOfTheRunsDate) {
    openDebugGate();
    manager->storeConsentStringEvent(Value::string("sent"));
    const Value run = Value::date(services.clock->now());
    post();
    services.clock->advance(60);
    manager->storeConsentStringEvent(Value::string("stored meanwhile"));
    network->success(Value());
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(stored(), 0u);
    EXPECT_TRUE(manager->storedConsentEvents().empty());
    EXPECT_TRUE(manager->lastSendConsentDatasDate().isEqualTo(run));
    EXPECT_EQ(services.log->count(
                  "[VMR] -> Data Stream API success send TCString data -> response : (null)"),
              1u);
}

TEST_F(Consents, StoreHoldsTheWholeListWhenAnotherThreadDidNotWait) {
    services.preferences->beforeNextWrite = [this] {
        manager->storeConsentStringEvent(Value::string("b"));
    };
    manager->storeConsentStringEvent(Value::string("a"));
    EXPECT_EQ(stored(), 2u);
}

TEST_F(Consents, ObserverOfTheListMayWaitForAnotherThreadThatStores) {
    const auto observer = std::make_shared<CallingObserver>();
    observer->call = [this] {
        std::thread([this] { manager->storeConsentStringEvent(Value::string("b")); }).join();
    };
    services.preferences->addObserver(observer, DeviceDataConsentEvents, nullptr);
    manager->storeConsentStringEvent(Value::string("a"));
    EXPECT_EQ(stored(), 2u);
}

TEST_F(Consents, StoredValueThatIsNoListIsSetAside) {
    set("VMRConsentEventsArray", "spoilt");
    EXPECT_TRUE(VMRConsentDataManager().storedConsentEvents().empty());
    EXPECT_EQ(services.preferences->stringForKey("VMRConsentEventsArray.unreadable"), "spoilt");
}

} // namespace
} // namespace vmr::test
