#include "consent/HandedOverStrings.h"

#include "consent/VMRConsentEvent.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <memory>

namespace vmr {
namespace {

std::string_view lastKnownKeyOf(std::string_view key) {
    return key == TCFv1ConsentStringKey ? VMRLastTCFv1StringKey : VMRLastTCFv2StringKey;
}

} // namespace

void storeHandedOverStrings(const std::vector<PreferencesChange> &strings) {
    if (strings.empty())
        return;
    const auto whole = platform().preferences->transaction();
    RecordList events = storedRecords(DeviceDataConsentEvents, VMRConsentEvent::ClassName);
    for (const PreferencesChange &string : strings) {
        auto event = std::make_shared<VMRConsentEvent>();
        // As an observer would have been told of a key that was removed.
        event->setConsentString(string.after.isAbsent() ? Value::null() : string.after);
        event->setDate(platform().clock->now());
        events.push_back(std::move(event));
        // What is stored there now may be newer.
        platform().preferences->setObject(platform().preferences->objectForKey(string.key),
                                          lastKnownKeyOf(string.key));
    }
    saveArrayWithKey(events, DeviceDataConsentEvents);
}

} // namespace vmr
