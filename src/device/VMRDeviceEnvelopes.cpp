#include "device/DateFormatting.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"

#include <utility>

namespace vmr {
namespace {

void put(Dictionary &envelope, std::string_view key, const std::optional<std::string> &text) {
    if (text)
        put(envelope, key, Value::string(*text));
}

Dictionary commonEnvelope(Date date) {
    Dictionary envelope;
    put(envelope, "postDate", dataStreamApiFormatedDateString(date));
    // The backend knows this client's data under this name only.
    put(envelope, "os", "ios");
    // The identifier as it is: only the data-hash identifier heeds the tracking state.
    put(envelope, "uuid", VMRSystemInfosFetcher::idfa());
    put(envelope, "uuidV", VMRSystemInfosFetcher::idfv());
    put(envelope, "bundleId", VMRSystemInfosFetcher::bundleIdShort());
    put(envelope, "sdkVersion", VMRSystemInfosFetcher::sdkVersion());
    put(envelope, "appVersion", VMRSystemInfosFetcher::appVersion());
    return envelope;
}

} // namespace

Dictionary VMRDeviceDataManager::reportPostParametersWithReports(const Value &reports) const {
    Dictionary parameters;
    if (!reports.isAbsent())
        put(parameters, "batch", reports);
    return parameters;
}

Dictionary VMRDeviceDataManager::postConsentsDataParametersAtDate(Date date) const {
    Dictionary envelope = commonEnvelope(date);
    put(envelope, "systemVersion", VMRSystemInfosFetcher::systemVersion());
    put(envelope, "deviceModel", VMRSystemInfosFetcher::deviceModel());
    return envelope;
}

Dictionary VMRDeviceDataManager::postErrorsParametersForDate(Date date) const {
    Dictionary envelope = commonEnvelope(date);
    put(envelope, "vmrId", VMRId());
    return envelope;
}

} // namespace vmr
