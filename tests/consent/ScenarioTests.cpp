#include "consent/ConsentKeys.h"
#include "consent/HandedOverStrings.h"
#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRErrorManager.h"
#include "network/VMRNetworkManager.h"
#include "support/Scenario.h"

namespace vmr::test {
namespace {

class ConsentEvents : public Scenario {
protected:
    ConsentEvents() {
        services.advertising->status = 3;
        network->setApiKey("k1", "s3", {});
    }
    void post(const std::string &what, double age = 0) {
        step(what, [this, age] {
            manager->postDataWithManager(network, device, errors,
                                         services.clock->now().addingTimeInterval(-age),
                                         [this] { tell("completion", ++completions); });
        });
    }

    std::shared_ptr<VMRConsentDataManager> manager = std::make_shared<VMRConsentDataManager>();
    std::shared_ptr<VMRDeviceDataManager> device = std::make_shared<VMRDeviceDataManager>();
    std::shared_ptr<VMRErrorManager> errors = std::make_shared<VMRErrorManager>();
    std::shared_ptr<VMRNetworkManager> network = std::make_shared<VMRNetworkManager>();
    std::int64_t completions = 0;
};

TEST_F(ConsentEvents, AreDueStrictlyAfterBothIntervalsOrWhenTheClockWentBack) {
    step("never posted", [this] { tell("due", manager->shouldPostConsentEventDatas()); });
    openDebugGate();
    configure({{"LOGS_REQUEST_SEND_TIME_INTERVAL", 1}, {"LOGS_REQUEST_ATTEMPT_TIME_INTERVAL", 2}});
    const Date now = services.clock->now();
    const std::pair<double, double> ages[] = {{3600, 7200.5}, {3600.5, 7200}, {3600.5, 7200.5},
                                              {-0.5, 0},      {0, -0.5},      {0, 0},
                                              {90.75, -5.75}};
    for (const auto &[sinceLast, sinceAttempt] : ages)
        step("posted and tried so many seconds ago", [&, last = sinceLast, tried = sinceAttempt] {
            manager->setLastSendConsentDatasDate(now.addingTimeInterval(-last));
            manager->setLastSendConsentDatasAttemptDate(now.addingTimeInterval(-tried));
            manager->setLastSendConsentDatasDate(std::nullopt);
            manager->setLastSendConsentDatasAttemptDate(std::nullopt);
            tell("with nothing to send", manager->shouldPostData());
            tell("due", manager->shouldPostConsentEventDatas());
        });
    step("dates that are no dates", [this] {
        set(VMRLastPostConsentDatasDateKey, "yesterday");
        services.preferences->setObject(Value::date(Date{1e300}),
                                        VMRLastPostConsentDatasAttemptDateKey);
        tell("due", manager->shouldPostConsentEventDatas());
    });
    expectRecorded();
}

TEST_F(ConsentEvents, CarryTheRunsDateThroughTheirPost) {
    post("nothing to post");
    step("an event that JSON cannot hold",
         [this] { manager->storeConsentStringEvent(Value::data(Data("x"))); });
    post("post");
    step("another", [this] { manager->storeConsentStringEvent(Value::string("text")); });
    post("post of a run that began a minute ago", 60);
    later(30);
    answer(500);
    openDebugGate();
    post("post of a run that began later", -30);
    step("stored meanwhile", [this] { manager->storeConsentStringEvent(Value()); });
    later(100);
    answer(200);
    expectRecorded();
}

TEST_F(ConsentEvents, WaitByTheThousandAndGoInOnePost) {
    step("1,500 events", [this] {
        VMRConsentDataManager::Events events;
        for (int number = 0; number < 1500; ++number) {
            const auto event = std::make_shared<VMRConsentEvent>();
            event->setConsentString(Value::string("string " + std::to_string(number)));
            event->setDate(services.clock->now().addingTimeInterval(number * 60));
            events.push_back(event);
        }
        manager->setStoredConsentEvents(events);
        manager->saveConsentEventsArray();
    });
    step("one more", [this] { manager->storeConsentStringEvent(Value::string("last")); });
    later(1);
    step("read again", [this] {
        manager = std::make_shared<VMRConsentDataManager>();
        tell("events", std::int64_t(manager->storedConsentEventCount()));
    });
    post("post");
    answer(200);
    expectRecorded();
}

TEST_F(ConsentEvents, SayWhatIsMissingAndShareWhatTheyCopy) {
    VMRConsentEvent event;
    tell("without anything", event.formatedJsonWithUUID(std::nullopt));
    tell("without an identifier", event.formatedJson());
    event.setConsentString(Value::string(std::string("before\0after", 12)));
    event.setDate(Date{1614866767.9996});
    const auto copy = event.copyWithZone();
    copy->setDate(Date{0});
    tell("with a NUL, rounded up", event.formatedJsonWithUUID("id"));
    tell("copy of it", copy->formatedJsonWithUUID("id"));
    tell("shared", copy->consentString().isIdenticalTo(event.consentString()));
    event.setConsentString(Value::list({Value::string("a"), Value::integer(1)}));
    tell("a list", event.formatedJsonWithUUID("aaaaaaaaaaa"));
    try {
        VMRDataSreamApiSentData().formatedJsonWithUUID("id");
    } catch (const InternalInconsistencyException &fault) {
        tell("of the base", std::string(fault.what()));
    }
    for (const bool empty : {false, true}) {
        const auto record = std::make_shared<VMRConsentEvent>();
        if (!empty) {
            record->setConsentString(Value::null());
            record->setDate(Date{-0.5});
        }
        const Data archive = archivedDataWithRootObject(Value::record(record));
        tell("archive", Value::data(archive));
        const auto again = recordOfClass<VMRConsentEvent>(*unarchiveObjectWithData(archive));
        tell("read again", again->formatedJson());
        tell("absent", again->consentString().isAbsent());
    }
    expectRecorded();
}

TEST_F(ConsentEvents, OfOtherProcessesArriveBeforeTheStart) {
    setValue(TCFv2ConsentStringKey, Value::string("newer"));
    step("nothing was handed over", [] { storeHandedOverStrings({}); });
    step("three strings were", [] {
        storeHandedOverStrings({{std::string(TCFv2ConsentStringKey), Value::string("older")},
                                {std::string(TCFv1ConsentStringKey), Value::string("v1")},
                                {std::string(TCFv2ConsentStringKey), Value()}});
    });
    step("start", [this] {
        openDebugGate();
        manager = std::make_shared<VMRConsentDataManager>();
        tell("changed", manager->checkAndStoreTCStringsIfChanged());
        tell("changed again", manager->checkAndStoreTCStringsIfChanged());
        manager->setSavedConsentStringForKey("other");
        tell("date of the last event", !manager->lastConsentEventStoredDate());
    });
    step("a stored list that cannot be read", [this] {
        set(DeviceDataConsentEvents, "spoilt");
        tell("events", std::int64_t(VMRConsentDataManager().storedConsentEventCount()));
    });
    expectRecorded();
}

} // namespace
} // namespace vmr::test
