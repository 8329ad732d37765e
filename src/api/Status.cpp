#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "consent/VMRConsentDataManager.h"
#include "consent/VMRConsentEvent.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/Velmora.h"
#include "platform/TaggedJSON.h"

namespace vmr::api {
namespace {

Value orNull(Value value) {
    return value.isAbsent() ? Value::null() : value;
}

/// Seconds since 1970; absent where there is no date.
Value seconds(const std::optional<Date> &date) {
    return date ? Value::real(date->secondsSince1970) : Value();
}

Value seconds(const Value &stored) {
    const Date *date = stored.asDate();
    return date != nullptr && *date != Date::distantPast() ? seconds(std::optional(*date))
                                                           : Value();
}

/// The null marker where there is nothing.
void tell(Dictionary &status, std::string_view key, const Value &value) {
    put(status, key, orNull(value));
}

void addDevice(Dictionary &status, const std::shared_ptr<VMRDeviceDataManager> &manager) {
    const std::shared_ptr<VMRDeviceData> record = manager ? manager->deviceData() : nullptr;
    tell(status, "vmrId", manager ? Value::stringOrAbsent(manager->VMRId()) : Value());
    tell(status, "isNewDevice", manager ? Value::boolean(manager->isNewDevice()) : Value());
    tell(status, "isSdkEnabled", record ? Value::boolean(record->isSdkEnabled()) : Value());
    tell(status, "firstLaunchDate", record ? seconds(record->firstLaunchDate()) : Value());
    tell(status, "nbLaunchesSinceBeginning",
         record ? Value::integer(record->nbLaunchesSinceBeginning()) : Value());
}

Value describe(const VMRConsentEvent &event) {
    return Value::dictionary(dictionaryOf({{"consentString", orNull(event.consentString())},
                                           {"date", orNull(seconds(event.date()))}}));
}

void addConsents(Dictionary &status, const std::shared_ptr<VMRConsentDataManager> &manager) {
    List events;
    if (manager)
        for (const auto &event : manager->storedConsentEvents())
            events.push_back(describe(*event));
    tell(status, "storedConsentEvents", Value::list(std::move(events)));
    tell(status, "lastSendConsentDatasDate",
         manager ? seconds(manager->lastSendConsentDatasDate()) : Value());
    tell(status, "lastSendConsentDatasAttemptDate",
         manager ? seconds(manager->lastSendConsentDatasAttemptDate()) : Value());
    tell(status, "lastTCFv1String", manager ? manager->lastTCFv1String() : Value());
    tell(status, "lastTCFv2String", manager ? manager->lastTCFv2String() : Value());
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_status_json(char **json) {
    return answer(json, "json", [] {
        Host::shared().platform();
        const auto velmora = Velmora::sharedVelmora();
        Dictionary status;
        addDevice(status, velmora->deviceDataManager());
        addConsents(status, velmora->consentDataManager());
        put(status, "configuration", Value::dictionary(VMRConfigManager::actualConfiguration()));
        return copyOut(writeTaggedJSON(Value::dictionary(std::move(status))));
    });
}
