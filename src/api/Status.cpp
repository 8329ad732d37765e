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
#include "platform/TaggedJSON.h"

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
        all.push_back(
            reportOf({{"consentString", event->consentString()}, {"date", event->date()}}));
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
        constexpr Reported missing{};
        return copyOut(writeTaggedJSON(reportOf(
            {{"vmrId", device ? device->VMRId() : std::nullopt},
             {"isNewDevice", device ? device->isNewDevice() : missing},
             {"isSdkEnabled", record ? record->isSdkEnabled() : missing},
             {"firstLaunchDate", record ? record->firstLaunchDate() : std::nullopt},
             {"nbLaunchesSinceBeginning", record ? record->nbLaunchesSinceBeginning() : missing},
             {"storedConsentEvents",
              Value::list(consents ? describe(consents->storedConsentEvents()) : List())},
             {"lastSendConsentDatasDate",
              consents ? seconds(consents->lastSendConsentDatasDate()) : std::nullopt},
             {"lastSendConsentDatasAttemptDate",
              consents ? seconds(consents->lastSendConsentDatasAttemptDate()) : std::nullopt},
             {"lastTCFv1String", consents ? consents->lastTCFv1String() : Value()},
             {"lastTCFv2String", consents ? consents->lastTCFv2String() : Value()},
             {"configuration", Value::dictionary(VMRConfigManager::actualConfiguration())}})));
    });
}
