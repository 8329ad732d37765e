#include "consent/UnreadEvents.h"

#include "consent/ConsentKeys.h"
#include "consent/VMRConsentEvent.h"
#include "device/Persistence.h"
#include "device/StoredRecords.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/UnreadKey.h"

#include <memory>
#include <string>
#include <vector>

namespace vmr {

void takeOverUnreadEvents() {
    Preferences &preferences = *platform().preferences;
    std::vector<std::string> keys;
    std::vector<std::shared_ptr<VMRConsentEvent>> events;
    const auto take = [&events](std::string_view key) {
        const auto stored = storedRecords<VMRConsentEvent>(key);
        events.insert(events.end(), stored.begin(), stored.end());
    };
    for (int number = 1;; ++number) {
        std::string key = unreadKey(DeviceDataConsentEvents, number);
        if (preferences.objectForKey(key).isAbsent())
            break;
        take(key);
        keys.push_back(std::move(key));
    }
    if (keys.empty())
        return;
    take(DeviceDataConsentEvents);
    saveArrayWithKey([&events] { return events; }, DeviceDataConsentEvents);
    // Last: a process that is killed in between sends an event twice rather than never.
    for (const std::string &key : keys)
        preferences.removeObjectForKey(key);
}

} // namespace vmr
