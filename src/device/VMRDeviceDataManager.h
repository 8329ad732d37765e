#pragma once

#include "device/Persistence.h"
#include "device/VMRDeviceData.h"
#include "facade/Keys.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

/// Holds the identity of this installation towards the backend, decides when the device must be
/// registered, and builds the envelopes of the data-stream posts. Sends nothing itself.
class VMRDeviceDataManager {
public:
    /// Loads the identity and the record, or creates fresh ones; stores nothing.
    VMRDeviceDataManager();

    VMR_PROPERTY(std::optional<std::string>, VMRId, setVMRId);
    /// True until the backend has acknowledged this installation.
    VMR_PROPERTY(bool, isNewDevice, setIsNewDevice);
    VMR_PROPERTY(std::shared_ptr<VMRDeviceData>, deviceData, setDeviceData);

    /// When the backend last answered a device request.
    VMR_STORED_DATE(lastGetDeviceDate, setLastGetDeviceDate, DeviceDataLastPostDeviceDate, true);
    /// When a device request last failed.
    VMR_STORED_DATE(lastPostDeviceAttemptDate, setLastPostDeviceAttemptDate,
                    DeviceDataLastPostDeviceAttempt, true);

    std::optional<std::string> savedVMRId() const;
    void saveVMRId() const;
    /// The advertising identifier where the user allows tracking, otherwise `VMRId`.
    std::optional<std::string> identifierForDataHashID() const;

    bool shouldGetDevice() const;
    Dictionary postDeviceParams() const;
    bool shouldPostDeviceWithParameters(const Dictionary &parameters, Date date) const;
    bool highPriorityValueChangedForDeviceParameters(const std::optional<Dictionary> &params) const;
    Dictionary diffParameters(const Dictionary &current, const std::optional<Dictionary> &previous,
                              const std::optional<std::vector<std::string>> &forced) const;
    Dictionary reportPostParametersWithReports(const Value &reports) const;
    /// Values that are missing are left out.
    Dictionary postConsentsDataParametersAtDate(Date date) const;
    Dictionary postErrorsParametersForDate(Date date) const;
};

} // namespace vmr
