#include "Stage.h"
#include "consent/HandedOverStrings.h"
#include "consent/VMRConsentDataManager.h"

namespace vmr::test {

void addConsentCommands(Stage &stage) {
    Stage *const s = &stage;
    const auto manager = [s] { return s->velmora->consentDataManager(); };
    s->on("consents due", [=](const std::string &) {
        s->tell("by their dates", manager()->shouldPostConsentEventDatas());
        s->tell("with their events", manager()->shouldPostData());
    });
    s->on("consents posted", [=](const std::string &seconds) {
        manager()->setLastSendConsentDatasDate(s->ago(seconds));
        manager()->setLastSendConsentDatasDate(std::nullopt);
    });
    s->on("consents tried", [=](const std::string &seconds) {
        manager()->setLastSendConsentDatasAttemptDate(s->ago(seconds));
        manager()->setLastSendConsentDatasAttemptDate(std::nullopt);
    });
    s->on("post consents of a run that began", [=](const std::string &seconds) {
        manager()->postDataWithManager(s->velmora->networkManager(),
                                       s->velmora->deviceDataManager(), s->velmora->logManager(),
                                       s->ago(seconds), [s] { s->add("completed"); });
    });
    s->on("event", [=](const std::string &json) {
        manager()->storeConsentStringEvent(json.empty() ? Value() : valueOf(json));
    });
    s->on("events a minute apart", [=](const std::string &count) {
        VMRConsentDataManager::Events events;
        for (int number = 0; number < std::stoi(count); ++number) {
            const auto event = std::make_shared<VMRConsentEvent>();
            event->setConsentString(Value::string("string " + std::to_string(number)));
            event->setDate(s->services.clock->now().addingTimeInterval(number * 60));
            events.push_back(event);
        }
        manager()->setStoredConsentEvents(events);
        manager()->saveConsentEventsArray();
    });
    s->on("keep unsent", [](const std::string &value) {
        Platform services = platform();
        services.keepUnsent = value == "true";
        installPlatform(services);
    });
    s->on("removed unsent", [=](const std::string &) {
        s->tell("events", static_cast<std::int64_t>(manager()->removedUnsentCount()));
    });
    s->on("read consents", [=](const std::string &) {
        s->velmora->setConsentDataManager(std::make_shared<VMRConsentDataManager>());
        s->tell("events", static_cast<std::int64_t>(manager()->storedConsentEventCount()));
    });
    s->on("look at events",
          [=](const std::string &) { s->tell("events", Value::list(manager()->logDatas()())); });
    s->on("check strings", [=](const std::string &) {
        s->tell("stored", manager()->checkAndStoreTCStringsIfChanged());
    });
    s->on("saved string",
          [=](const std::string &key) { manager()->setSavedConsentStringForKey(key); });
    s->on("handed over", [](const std::string &json) {
        std::vector<PreferencesChange> strings;
        const Value pairs = valueOf(json);
        for (const Value &pair : *pairs.asList()) {
            const Value &string = pair.asList()->at(1);
            strings.push_back(
                {*pair.asList()->at(0).asString(), Value(), string.isNull() ? Value() : string});
        }
        storeHandedOverStrings(strings);
    });
    s->on("form of event", [=](const std::string &text) {
        const auto event = std::make_shared<VMRConsentEvent>();
        if (const auto [seconds, json] = splitAtBlank(text); !seconds.empty()) {
            event->setDate(Date{std::stod(seconds)});
            event->setConsentString(valueOf(json));
        }
        s->tell("JSON", event->formatedJson());
        s->tell("under no identifier", event->formatedJsonWithUUID(std::nullopt));
        s->tell("under id", s->archived(event)->formatedJsonWithUUID("id"));
        const auto copy = event->copyWithZone();
        event->setDate(Date{0});
        s->tell("copy", copy->formatedJson());
        s->tell("shared", copy->consentString().isIdenticalTo(event->consentString()));
    });
    s->on("form of the base", [=](const std::string &) {
        try {
            VMRDataSreamApiSentData().formatedJsonWithUUID("id");
        } catch (const InternalInconsistencyException &fault) {
            s->add(fault.what());
        }
    });
}

} // namespace vmr::test
