#include "ingest/ItemCheck.h"
#include "ingest/JsonText.h"
#include "ingest/Report.h"
#include "ingest/TextForms.h"
#include "page/ConsentView.h"
#include "page/Detail.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace velmora::page {
namespace {

using namespace ingest;
using nlohmann::json;
using nlohmann::ordered_json;

/// The events of a device in the order in which they came, each once, up to a number.
struct Earlier {
    Event event;
    std::uint64_t number = 0;
};

std::vector<Earlier> eventsUntil(const Journal &journal, const std::string &device,
                                 std::uint64_t number) {
    std::vector<Earlier> events;
    std::set<std::string> known;
    for (const Kept &kept : journal.after(0)) {
        if (kept->number > number)
            break;
        if (kept->device != device || device.empty())
            continue;
        for (const Event &event : kept->events)
            if (known.insert(event.id).second)
                events.push_back({event, kept->number});
    }
    return events;
}

/// Against the consent before it; null when nothing before it holds one.
ordered_json differenceFor(const Exchange &exchange, const Event &event, const Journal &journal) {
    const std::vector<Earlier> events = eventsUntil(journal, exchange.device, exchange.number);
    const auto self = std::ranges::find(events, event.id,
                                        [](const Earlier &earlier) { return earlier.event.id; });
    for (auto before = std::make_reverse_iterator(self); before != events.rend(); ++before)
        if (before->event.consent)
            return {{"number", before->number},
                    {"date", before->event.date},
                    {"equal", before->event.consent == event.consent},
                    {"difference", consentDifference(*before->event.consent, *event.consent)}};
    return nullptr;
}

ordered_json otherRequestsWith(const Event &event, const Journal &journal) {
    ordered_json numbers = ordered_json::array();
    if (event.id.empty())
        return numbers;
    for (const Kept &kept : journal.after(0))
        if (std::ranges::any_of(kept->events,
                                [&](const Event &each) { return each.id == event.id; }))
            numbers.push_back(kept->number);
    return numbers;
}

} // namespace

ordered_json itemDetailOf(const Exchange &exchange, std::size_t index, const Journal &journal) {
    const Report found = report(exchange.request, {});
    if (index >= found.items.size())
        return nullptr;
    const json &item = found.items[index];
    const Problems problems =
        index < found.itemProblems.size() ? found.itemProblems[index] : Problems();
    ordered_json detail = {{"index", index}, {"item", item}, {"problems", problems}};
    if (found.kind != Kind::Consents || index >= exchange.events.size())
        return detail;
    const Event &event = exchange.events[index];
    if (problems.empty())
        detail["identifier"] = {{"id", event.id}, {"isRecomputed", isMadeWith(item, found.uuid())}};
    if (const auto moment = momentOf(event.date))
        detail["moment"] = *moment;
    detail["requests"] = otherRequestsWith(event, journal);
    if (event.consent) {
        detail["consent"] = consentView(*event.consent);
        detail["before"] = differenceFor(exchange, event, journal);
    }
    return detail;
}

} // namespace velmora::page
