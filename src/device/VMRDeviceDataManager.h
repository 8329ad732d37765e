#pragma once

#include "device/Keys.h"
#include "device/Persistence.h"
#include "device/VMRDeviceData.h"
#include "platform/Value.h"

#include <atomic>
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

    std::optional<std::string> VMRId() const { return VMRId_.get(); }
    void setVMRId(std::optional<std::string> identifier) { VMRId_.set(std::move(identifier)); }
    /// True until the backend has acknowledged this installation.
    bool isNewDevice() const { return isNewDevice_; }
    void setIsNewDevice(bool isNewDevice) { isNewDevice_ = isNewDevice; }
    std::shared_ptr<VMRDeviceData> deviceData() const { return deviceData_.get(); }
    void setDeviceData(std::shared_ptr<VMRDeviceData> deviceData) {
        deviceData_.set(std::move(deviceData));
    }

    /// When the backend last answered a device request; the distant past when it never did. An
    /// absent date leaves the stored one.
    Value lastGetDeviceDate() const {
        return savedDateOrDistantPastForKey(DeviceDataLastPostDeviceDate);
    }
    void setLastGetDeviceDate(const std::optional<Date> &date) {
        savePresentDateForKey(date, DeviceDataLastPostDeviceDate);
    }
    /// When a device request last failed.
    Value lastPostDeviceAttemptDate() const {
        return savedDateOrDistantPastForKey(DeviceDataLastPostDeviceAttempt);
    }
    void setLastPostDeviceAttemptDate(const std::optional<Date> &date) {
        savePresentDateForKey(date, DeviceDataLastPostDeviceAttempt);
    }

    std::optional<std::string> savedVMRId() const;
    void saveVMRId() const;
    /// The advertising identifier where the user allows tracking, otherwise `VMRId`.
    std::optional<std::string> identifierForDataHashID() const;

    bool shouldGetDevice() const;
    Dictionary postDeviceParams() const;
    bool shouldPostDeviceWithParameters(const Dictionary &parameters, Date date) const;
    bool highPriorityValueChangedForDeviceParameters(const Dictionary &params) const;
    /// What of `current` is new or differs from `previous`, which may be none, or is forced.
    Dictionary diffParameters(const Dictionary &current, const Dictionary *previous,
                              const std::vector<std::string> &forced = {}) const;
    Dictionary reportPostParametersWithReports(const Value &reports) const;
    /// Values that are missing are left out.
    Dictionary postConsentsDataParametersAtDate(Date date) const;
    Dictionary postErrorsParametersForDate(Date date) const;

private:
    Locked<std::optional<std::string>> VMRId_;
    std::atomic<bool> isNewDevice_{false};
    Locked<std::shared_ptr<VMRDeviceData>> deviceData_;
};

} // namespace vmr
