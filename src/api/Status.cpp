#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Report.h"
#include "consent/VMRConsentDataManager.h"
#include "consent/VMRConsentEvent.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/Velmora.h"

namespace vmr::api {
namespace {

/// Seconds since 1970; nothing where there is no date.
std::optional<double> seconds(const Value &stored) {
    const Date *date = stored.asDate();
    return date != nullptr && *date != Date::distantPast() ? std::optional(date->secondsSince1970)
                                                           : std::nullopt;
}

List describe(const VMRConsentDataManager::Events &events) {
    List all;
    for (const VMRConsentEvent *event : events)
        all.push_back(Value::dictionary(dictionaryOf({{"consentString", event->consentString()},
                                                      {"date", Reported(event->date()).value()}})));
    return all;
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_status_json(char **json) {
    return answer(json, "json", [] {
        Host::shared().platform();
        const auto &velmora = Velmora::sharedVelmora();
        const auto device = velmora->deviceDataManager();
        const auto record = device ? device->deviceData() : nullptr;
        const auto consents = velmora->consentDataManager();
        const Value events =
            Value::list(consents ? describe(consents->storedConsentEvents()) : List());
        const Value configuration = Value::dictionary(VMRConfigManager::actualConfiguration());
        constexpr Reported missing{};
        return copyOut(reportOf(
            R"({"configuration":@,"firstLaunchDate":@,"isNewDevice":@,"isSdkEnabled":@,)"
            R"("lastSendConsentDatasAttemptDate":@,"lastSendConsentDatasDate":@,)"
            R"("lastTCFv1String":@,"lastTCFv2String":@,"nbLaunchesSinceBeginning":@,)"
            R"("storedConsentEvents":@,"vmrId":@})",
            {configuration, record ? record->firstLaunchDate() : std::nullopt,
             device ? device->isNewDevice() : missing, record ? record->isSdkEnabled() : missing,
             consents ? seconds(consents->lastSendConsentDatasAttemptDate()) : std::nullopt,
             consents ? seconds(consents->lastSendConsentDatasDate()) : std::nullopt,
             consents ? consents->lastTCFv1String() : Value(),
             consents ? consents->lastTCFv2String() : Value(),
             record ? record->nbLaunchesSinceBeginning() : missing, events,
             device ? device->VMRId() : std::nullopt}));
    });
}
