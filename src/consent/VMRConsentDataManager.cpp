#include "consent/VMRConsentDataManager.h"

#include "device/Keys.h"
#include "device/Persistence.h"
#include "errors/BoundedAppend.h"
#include "facade/VMRDebugLog.h"
#include "platform/Clock.h"
#include "platform/Format.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"

#include <limits>
#include <utility>

namespace vmr {
namespace {

constexpr std::uint64_t neverTrimmed = std::numeric_limits<std::int64_t>::max();

/// An absent string equals nothing, not even an absent one.
bool isKnown(const Value &last, const Value &current) {
    return !last.isAbsent() && !current.isAbsent() && last.isEqualTo(current);
}

} // namespace

VMRConsentDataManager::VMRConsentDataManager()
    : storedConsentEvents_(storedRecords(DeviceDataConsentEvents, VMRConsentEvent::ClassName)) {
    debugLog("! ! ! ! ! ! Stored consentEvents count ! ! ! ! ! !   -> %lu",
             storedConsentEventCount());
    static_cast<void>(logDatas());
}

List VMRConsentDataManager::describe(const Events &events) {
    List all;
    for (const VMRConsentEvent *event : events)
        all.push_back(Value::dictionary(event->formatedJsonWithUUID("aaaaaaaaaaa")));
    return all;
}

bool VMRConsentDataManager::storeIfChanged(const Value &last,
                                           void (VMRConsentDataManager::*setLast)(const Value &)) {
    if (isKnown(last, currentTCFv2String()))
        return false;
    storeConsentStringEvent(currentTCFv2String());
    (this->*setLast)(currentTCFv2String());
    return true;
}

bool VMRConsentDataManager::checkAndStoreTCStringsIfChanged() {
    platform().systemLog->write(
        formatText("last: %@, new: %@", lastTCFv2String(), currentTCFv2String()), LogLevel::info);
    // Both sides with the v2 string: the backend counts on both events.
    const bool isNewV2 =
        storeIfChanged(lastTCFv2String(), &VMRConsentDataManager::setLastTCFv2String);
    const bool isNewV1 =
        storeIfChanged(lastTCFv1String(), &VMRConsentDataManager::setLastTCFv1String);
    return isNewV2 || isNewV1;
}

void VMRConsentDataManager::storeConsentStringEvent(const Value &consentString) {
    auto event = std::make_shared<VMRConsentEvent>();
    event->setConsentString(consentString);
    event->setDate(platform().clock->now());
    // Another thread's event comes before or after both.
    const auto whole = platform().preferences->transaction();
    storedConsentEvents_.with(
        [&](RecordList &events) { addObject(events, std::move(event), neverTrimmed); });
    saveConsentEventsArray();
}

void VMRConsentDataManager::setSavedConsentStringForKey(std::string_view key) {
    if (key == TCFv1ConsentStringKey)
        setLastTCFv1String(currentTCFv1String());
    else if (key == TCFv2ConsentStringKey)
        setLastTCFv2String(currentTCFv2String());
}

Value VMRConsentDataManager::currentTCFv1String() const {
    return platform().preferences->valueForKey(TCFv1ConsentStringKey);
}

Value VMRConsentDataManager::currentTCFv2String() const {
    return platform().preferences->valueForKey(TCFv2ConsentStringKey);
}

void VMRConsentDataManager::saveConsentEventsArray() {
    if (!isRetired())
        saveCurrentRecords(storedConsentEvents_, DeviceDataConsentEvents);
}

Value VMRConsentDataManager::lastTCFv1String() const {
    return platform().preferences->objectForKey(VMRLastTCFv1StringKey);
}

void VMRConsentDataManager::setLastTCFv1String(const Value &string) {
    if (!isRetired())
        platform().preferences->setObject(string, VMRLastTCFv1StringKey);
}

Value VMRConsentDataManager::lastTCFv2String() const {
    return platform().preferences->objectForKey(VMRLastTCFv2StringKey);
}

void VMRConsentDataManager::setLastTCFv2String(const Value &string) {
    if (!isRetired())
        platform().preferences->setObject(string, VMRLastTCFv2StringKey);
}

} // namespace vmr
