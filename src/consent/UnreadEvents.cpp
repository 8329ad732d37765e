#include "consent/UnreadEvents.h"

#include "consent/ConsentKeys.h"
#include "device/Persistence.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"

namespace vmr {
namespace {

void addStoredEvents(std::string_view key, List &events) {
    const Value stored = deviceDataArrayWithType(key);
    const List *list = stored.asList();
    if (list == nullptr)
        return keepUnreadableArchive(key);
    for (const Value &event : *list)
        events.push_back(event);
}

} // namespace

void takeOverUnreadEvents() {
    Preferences &preferences = *platform().preferences;
    const auto keyOf = [](int number) { return unreadKey(DeviceDataConsentEvents, number); };
    List events;
    int count = 0;
    while (!preferences.objectForKey(keyOf(count + 1)).isAbsent())
        addStoredEvents(keyOf(++count), events);
    if (count == 0)
        return;
    addStoredEvents(DeviceDataConsentEvents, events);
    saveArrayWithKey(events, DeviceDataConsentEvents);
    // Last: a process that is killed in between sends an event twice rather than never.
    for (; count > 0; --count)
        preferences.removeObjectForKey(keyOf(count));
}

} // namespace vmr
