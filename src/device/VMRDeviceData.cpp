#include "device/VMRDeviceData.h"

#include "device/Keys.h"
#include "device/Persistence.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"

namespace vmr {
namespace {

constexpr std::string_view isSdkEnabledKey = "isSdkEnabled";
constexpr std::string_view firstLaunchDateKey = "firstLaunchDate";
constexpr std::string_view nbLaunchesKey = "nbLaunchesSinceBeginning";

[[maybe_unused]] const bool registered =
    registerArchivableClass(VMRDeviceData::ClassName, &VMRDeviceData::initWithCoder);

} // namespace

void VMRDeviceData::saveData() const {
    // The archive is built before this returns, so the record need only live that long.
    const std::shared_ptr<const VMRDeviceData> self(std::shared_ptr<const void>(), this);
    // Of two threads' archives the later one is stored last.
    const auto whole = platform().preferences->transaction();
    storeArchive(archivedDataWithRootObject(Value::record(self)), DeviceDataKey);
}

std::shared_ptr<VMRDeviceData> VMRDeviceData::savedData() {
    const Value root = loadArchive(DeviceDataKey);
    auto record = recordOfClass<VMRDeviceData>(root);
    if (!record && !root.isAbsent())
        keepUnreadableArchive(DeviceDataKey);
    // Just decoded and shared with nobody else.
    return std::const_pointer_cast<VMRDeviceData>(std::move(record));
}

void VMRDeviceData::encodeWithCoder(KeyedEncoder &coder) const {
    const auto firstLaunch = firstLaunchDate();
    coder.encodeBool(isSdkEnabled(), isSdkEnabledKey);
    coder.encodeObject(firstLaunch ? Value::date(*firstLaunch) : Value(), firstLaunchDateKey);
    coder.encodeInteger(nbLaunchesSinceBeginning(), nbLaunchesKey);
    coder.encodeObject(lastUpdateDeviceParametersSent(), KEY_LAST_SENT_DEVICE_PARAMS);
}

std::shared_ptr<Archivable> VMRDeviceData::initWithCoder(const KeyedDecoder &coder) {
    auto record = std::make_shared<VMRDeviceData>();
    // Records from before the field existed count as enabled, other than fresh ones.
    record->setIsSdkEnabled(!coder.containsValueForKey(isSdkEnabledKey) ||
                            coder.decodeBool(isSdkEnabledKey));
    const Value firstLaunch = coder.decodeObject(firstLaunchDateKey);
    if (const Date *date = firstLaunch.asDate())
        record->setFirstLaunchDate(*date);
    record->setNbLaunchesSinceBeginning(coder.decodeInteger(nbLaunchesKey));
    record->setLastUpdateDeviceParametersSent(coder.decodeObject(KEY_LAST_SENT_DEVICE_PARAMS));
    return record;
}

} // namespace vmr
