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

/// Seconds since 1970; the null marker where there is no date.
Value seconds(const std::optional<Date> &date) {
    return date ? Value::real(date->secondsSince1970) : Value::null();
}

Value seconds(const Value &stored) {
    const Date *date = stored.asDate();
    return date != nullptr && *date != Date::distantPast() ? seconds(std::optional(*date))
                                                           : Value::null();
}

void addDevice(Dictionary &status, const std::shared_ptr<VMRDeviceDataManager> &manager) {
    const std::shared_ptr<VMRDeviceData> record = manager ? manager->deviceData() : nullptr;
    status["vmrId"] = manager ? orNull(Value::stringOrAbsent(manager->VMRId())) : Value::null();
    status["isNewDevice"] = manager ? Value::boolean(manager->isNewDevice()) : Value::null();
    status["isSdkEnabled"] = record ? Value::boolean(record->isSdkEnabled()) : Value::null();
    status["firstLaunchDate"] = record ? seconds(record->firstLaunchDate()) : Value::null();
    status["nbLaunchesSinceBeginning"] =
        record ? Value::integer(record->nbLaunchesSinceBeginning()) : Value::null();
}

Value describe(const VMRConsentEvent &event) {
    return Value::dictionary(
        {{"consentString", orNull(event.consentString())}, {"date", seconds(event.date())}});
}

void addConsents(Dictionary &status, const std::shared_ptr<VMRConsentDataManager> &manager) {
    List events;
    if (manager)
        for (const auto &event : manager->storedConsentEvents())
            events.push_back(describe(*event));
    status["storedConsentEvents"] = Value::list(std::move(events));
    status["lastSendConsentDatasDate"] =
        manager ? seconds(manager->lastSendConsentDatasDate()) : Value::null();
    status["lastSendConsentDatasAttemptDate"] =
        manager ? seconds(manager->lastSendConsentDatasAttemptDate()) : Value::null();
    status["lastTCFv1String"] = manager ? orNull(manager->lastTCFv1String()) : Value::null();
    status["lastTCFv2String"] = manager ? orNull(manager->lastTCFv2String()) : Value::null();
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
        status["configuration"] = Value::dictionary(VMRConfigManager::actualConfiguration());
        return copyOut(writeTaggedJSON(Value::dictionary(std::move(status))));
    });
}
