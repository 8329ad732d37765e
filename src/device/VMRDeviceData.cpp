#include "device/VMRDeviceData.h"

#include "device/Persistence.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"

namespace vmr {
namespace {

constexpr std::string_view isSdkEnabledKey = "isSdkEnabled";
constexpr std::string_view firstLaunchDateKey = "firstLaunchDate";
constexpr std::string_view nbLaunchesKey = "nbLaunchesSinceBeginning";

} // namespace

bool VMRDeviceData::isSdkEnabled() const {
    const MutexLock lock(mutex_);
    return isSdkEnabled_;
}

void VMRDeviceData::setIsSdkEnabled(bool isSdkEnabled) {
    const MutexLock lock(mutex_);
    isSdkEnabled_ = isSdkEnabled;
}

std::optional<Date> VMRDeviceData::firstLaunchDate() const {
    const MutexLock lock(mutex_);
    return firstLaunchDate_;
}

void VMRDeviceData::setFirstLaunchDate(std::optional<Date> date) {
    const MutexLock lock(mutex_);
    firstLaunchDate_ = date;
}

std::int64_t VMRDeviceData::nbLaunchesSinceBeginning() const {
    const MutexLock lock(mutex_);
    return nbLaunchesSinceBeginning_;
}

void VMRDeviceData::setNbLaunchesSinceBeginning(std::int64_t count) {
    const MutexLock lock(mutex_);
    nbLaunchesSinceBeginning_ = count;
}

Value VMRDeviceData::lastUpdateDeviceParametersSent() const {
    const MutexLock lock(mutex_);
    return lastUpdateDeviceParametersSent_;
}

void VMRDeviceData::setLastUpdateDeviceParametersSent(Value parameters) {
    const MutexLock lock(mutex_);
    lastUpdateDeviceParametersSent_ = std::move(parameters);
}

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
    const MutexLock lock(mutex_);
    coder.encodeBool(isSdkEnabled_, isSdkEnabledKey);
    coder.encodeObject(firstLaunchDate_ ? Value::date(*firstLaunchDate_) : Value(),
                       firstLaunchDateKey);
    coder.encodeInteger(nbLaunchesSinceBeginning_, nbLaunchesKey);
    coder.encodeObject(lastUpdateDeviceParametersSent_, KEY_LAST_SENT_DEVICE_PARAMS);
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

namespace {

const bool registered =
    registerArchivableClass(VMRDeviceData::ClassName, &VMRDeviceData::initWithCoder);

} // namespace
} // namespace vmr
