#include "device/DateFormatting.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"

#include <utility>

namespace vmr {
namespace {

Dictionary commonEnvelope(Date date) {
    Dictionary envelope;
    putText(envelope, "postDate", dataStreamApiFormatedDateString(date));
    // The backend knows this client's data under this name only.
    putText(envelope, "os", "ios");
    // The identifier as it is: only the data-hash identifier heeds the tracking state.
    putText(envelope, "uuid", VMRSystemInfosFetcher::idfa());
    putText(envelope, "uuidV", VMRSystemInfosFetcher::idfv());
    putText(envelope, "bundleId", VMRSystemInfosFetcher::bundleIdShort());
    putText(envelope, "sdkVersion", VMRSystemInfosFetcher::sdkVersion());
    putText(envelope, "appVersion", VMRSystemInfosFetcher::appVersion());
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
