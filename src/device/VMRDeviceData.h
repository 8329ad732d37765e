#pragma once

#include "platform/KeyedArchive.h"
#include "platform/Locked.h"
#include "platform/Value.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace vmr {

/// The persisted record of this installation. Changes are kept once `saveData` has run. Fields may
/// be read and written from any thread.
class VMRDeviceData final : public Archivable {
public:
    VMRDeviceData() = default;

    bool isSdkEnabled() const { return isSdkEnabled_; }
    void setIsSdkEnabled(bool isSdkEnabled) { isSdkEnabled_ = isSdkEnabled; }
    /// The most recent start.
    std::optional<Date> firstLaunchDate() const { return firstLaunchDate_.get(); }
    void setFirstLaunchDate(std::optional<Date> date) { firstLaunchDate_.set(date); }
    /// Returns to the foreground.
    std::int64_t nbLaunchesSinceBeginning() const { return nbLaunchesSinceBeginning_; }
    void setNbLaunchesSinceBeginning(std::int64_t count) { nbLaunchesSinceBeginning_ = count; }
    /// The parameters that the backend last accepted: a dictionary, normally, or absent.
    Value lastUpdateDeviceParametersSent() const { return lastUpdateDeviceParametersSent_.get(); }
    void setLastUpdateDeviceParametersSent(Value parameters) {
        lastUpdateDeviceParametersSent_.set(std::move(parameters));
    }

    void saveData() const;
    /// The stored record, or nothing.
    static std::shared_ptr<VMRDeviceData> savedData();

    static constexpr std::string_view ClassName = "VMRDeviceData";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);

private:
    std::atomic<bool> isSdkEnabled_{false};
    Locked<std::optional<Date>> firstLaunchDate_;
    std::atomic<std::int64_t> nbLaunchesSinceBeginning_{0};
    Locked<Value> lastUpdateDeviceParametersSent_;
};

} // namespace vmr
