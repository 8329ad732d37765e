#include "page/Devices.h"

#include "ingest/TextForms.h"
#include "page/ConsentView.h"

#include <algorithm>
#include <functional>
#include <map>

namespace velmora::page {
namespace {

using nlohmann::ordered_json;

/// What a time line can show.
constexpr std::size_t mostEvents = 500;

struct Seen {
    Event event;
    /// From its date; the first arrival for a date that is none.
    std::int64_t moment = 0;
    std::vector<Kept> requests;
};

struct Device {
    Kept first;
    Kept last;
    std::size_t requests = 0;
    std::vector<Seen> events;
    std::map<std::string, std::size_t> byId;
};

void addEvents(Device &device, const Kept &kept) {
    for (const Event &event : kept->events) {
        const auto known = device.byId.find(event.id);
        if (known == device.byId.end()) {
            device.byId.emplace(event.id, device.events.size());
            device.events.push_back(
                {event, ingest::momentOf(event.date).value_or(kept->time), {kept}});
        } else if (auto &requests = device.events[known->second].requests;
                   requests.back() != kept) { // a start makes two equal events
            requests.push_back(kept);
        }
    }
}

ordered_json eventView(const Seen &seen) {
    ordered_json requests = ordered_json::array();
    for (const Kept &kept : seen.requests)
        requests.push_back({{"number", kept->number},
                            {"time", kept->time},
                            {"answer", kept->summary["answer"]},
                            {"delivered", kept->isDelivered}});
    return {{"id", seen.event.id},
            {"date", seen.event.date},
            {"moment", seen.moment},
            {"requests", requests},
            {"consent", seen.event.consent ? consentSummary(*seen.event.consent) : nullptr}};
}

ordered_json deviceView(const std::string &id, Device device) {
    std::ranges::stable_sort(device.events, {}, &Seen::moment);
    ordered_json events = ordered_json::array();
    const std::size_t left = device.events.size() - std::min(device.events.size(), mostEvents);
    for (std::size_t i = left; i < device.events.size(); ++i)
        events.push_back(eventView(device.events[i]));
    return {{"id", id},
            {"app", device.last->summary["app"]},
            {"appVersion", device.last->summary["appVersion"]},
            {"sdkVersion", device.last->summary["sdkVersion"]},
            {"system", device.last->summary["system"]},
            {"model", device.last->summary["model"]},
            {"firstSeen", device.first->time},
            {"lastSeen", device.last->time},
            {"lastRequest", device.last->number},
            {"requestCount", device.requests},
            {"eventCount", device.events.size()},
            {"events", events}};
}

} // namespace

ordered_json devicesOf(const std::vector<Kept> &kept) {
    std::map<std::string, Device> devices;
    for (const Kept &each : kept) {
        if (each->device.empty())
            continue;
        Device &device = devices[each->device];
        if (!device.first)
            device.first = each;
        device.last = each;
        ++device.requests;
        addEvents(device, each);
    }
    std::vector<std::pair<std::string, Device>> sorted(devices.begin(), devices.end());
    std::ranges::sort(sorted, std::greater(),
                      [](const auto &each) { return each.second.last->number; });
    ordered_json list = ordered_json::array();
    for (auto &[id, device] : sorted)
        list.push_back(deviceView(id, std::move(device)));
    return list;
}

} // namespace velmora::page
