#include "device/VMRDeviceDataManager.h"

#include "device/DateFormatting.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "device/VMRSystemInfosFetcher.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/UUID.h"

namespace vmr {
namespace {

constexpr double leastSecondsBetweenGets = 3600;

struct EnvelopeEntry {
    std::string_view key;
    std::optional<std::string> text;
};

Dictionary commonEnvelope(Date date) {
    const EnvelopeEntry entries[] = {
        {"postDate", dataStreamApiFormatedDateString(date)},
        // The backend knows this client's data under this name only.
        {"os", "ios"},
        // The identifier as it is: only the data-hash identifier heeds the tracking state.
        {"uuid", VMRSystemInfosFetcher::idfa()},
        {"uuidV", VMRSystemInfosFetcher::idfv()},
        {"bundleId", VMRSystemInfosFetcher::bundleIdShort()},
        {"sdkVersion", VMRSystemInfosFetcher::sdkVersion()},
        {"appVersion", VMRSystemInfosFetcher::appVersion()},
    };
    Dictionary envelope;
    for (const auto &[key, text] : entries)
        putText(envelope, key, text);
    return envelope;
}

} // namespace

VMRDeviceDataManager::VMRDeviceDataManager()
    : VMRId_(savedVMRId()), deviceData_(VMRDeviceData::savedData()) {
    // A fresh identifier is stored only once the backend has acknowledged it.
    if (!VMRId()) {
        setIsNewDevice(true);
        setVMRId(makeUUIDString());
    }
    if (!deviceData())
        setDeviceData(std::make_shared<VMRDeviceData>());
}

std::optional<std::string> VMRDeviceDataManager::savedVMRId() const {
    return platform().preferences->stringForKey(DeviceDataVMRId);
}

void VMRDeviceDataManager::saveVMRId() const {
    platform().preferences->setObject(Value::stringOrAbsent(VMRId()), DeviceDataVMRId);
    flushPreferencesIfNeeded();
}

std::optional<std::string> VMRDeviceDataManager::identifierForDataHashID() const {
    if (VMRSystemInfosFetcher::isAdTrackingEnabled())
        return VMRSystemInfosFetcher::idfa();
    return VMRId();
}

bool VMRDeviceDataManager::shouldGetDevice() const {
    const auto refresh = VMRConfigManager::paceSince(
        lastGetDeviceDate(), VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL, platform().clock->now());
    return refresh.isDue() && refresh.elapsed > leastSecondsBetweenGets;
}

Dictionary VMRDeviceDataManager::postDeviceParams() const {
    return {};
}

bool VMRDeviceDataManager::shouldPostDeviceWithParameters(const Dictionary &parameters,
                                                          Date date) const {
    debugLog("************** Should perform device update : ******************");
    bool should = false;
    Dictionary diff;
    const bool isNew = isNewDevice();
    if (isNew) {
        debugLog("   - is new device");
        should = true;
    } else {
        const Value accepted = deviceData()->lastUpdateDeviceParametersSent();
        diff = diffParameters(parameters, accepted.asDictionary());
    }

    const auto retry = VMRConfigManager::paceSince(
        lastPostDeviceAttemptDate(), VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL, date);
    if (isNew && retry.isDue()) {
        debugLog("   - is new device && shouldRetryPostDevice");
        should = true;
    } else if (highPriorityValueChangedForDeviceParameters(diff)) {
        should = true;
    } else if (shouldGetDevice()) {
        debugLog("   - shouldGetDevice");
        should = true;
    }
    debugLog("   - %@", should ? "YES" : "NO");
    return should;
}

Dictionary VMRDeviceDataManager::reportPostParametersWithReports(const Value &reports) const {
    Dictionary parameters;
    if (!reports.isAbsent())
        put(parameters, "batch", reports);
    return parameters;
}

Dictionary VMRDeviceDataManager::postConsentsDataParametersAtDate(Date date) const {
    Dictionary envelope = commonEnvelope(date);
    putText(envelope, "systemVersion", VMRSystemInfosFetcher::systemVersion());
    putText(envelope, "deviceModel", VMRSystemInfosFetcher::deviceModel());
    return envelope;
}

Dictionary VMRDeviceDataManager::postErrorsParametersForDate(Date date) const {
    Dictionary envelope = commonEnvelope(date);
    putText(envelope, "vmrId", VMRId());
    return envelope;
}

} // namespace vmr
