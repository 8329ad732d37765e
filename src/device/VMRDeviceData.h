#pragma once

#include "platform/KeyedArchive.h"
#include "platform/Property.h"
#include "platform/Value.h"

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

    VMR_PROPERTY(bool, isSdkEnabled, setIsSdkEnabled);
    /// The most recent start.
    VMR_PROPERTY(std::optional<Date>, firstLaunchDate, setFirstLaunchDate);
    /// Returns to the foreground.
    VMR_PROPERTY(std::int64_t, nbLaunchesSinceBeginning, setNbLaunchesSinceBeginning);
    /// The parameters that the backend last accepted: a dictionary, normally, or absent.
    VMR_PROPERTY(Value, lastUpdateDeviceParametersSent, setLastUpdateDeviceParametersSent);

    void saveData() const;
    /// The stored record, or nothing.
    static std::shared_ptr<VMRDeviceData> savedData();

    static constexpr std::string_view ClassName = "VMRDeviceData";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override;
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder);
};

} // namespace vmr
