#include "collect/Judge.h"

#include "Digest.h"
#include "ingest/HeaderCheck.h"
#include "ingest/Report.h"

namespace velmora::collect {
namespace {

using nlohmann::json;

/// Beside its text.
constexpr std::size_t memoryOfEvent = 256;
constexpr std::string_view noIdentifier = "00000000-0000-0000-0000-000000000000";

std::string textOf(const json &object, const char *key) {
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_string() ? entry->get<std::string>() : "";
}

/// The first thing that is wrong with what the device made; empty when nothing is.
std::string faultIn(const ingest::Report &report) {
    if (report.gzip != "sound")
        return report.gzip;
    if (report.json != "sound")
        return report.json;
    for (const ingest::Finding &finding : report.findings)
        if (finding.about != "gzip") // its level is no reason
            return finding.text;
    for (std::size_t i = 0; i < report.itemProblems.size(); ++i)
        if (!report.itemProblems[i].empty())
            return "item " + std::to_string(i) + ": " + report.itemProblems[i].front();
    return {};
}

/// Where the user has not allowed tracking, all devices have the same advertising identifier.
std::string deviceOf(const json &envelope) {
    for (const char *key : {"uuid", "uuidV", "vmrId"})
        if (const std::string text = textOf(envelope, key); !text.empty() && text != noIdentifier)
            return text;
    return std::string(noIdentifier);
}

/// Takes apart the item.
Event eventOf(ingest::Kind kind, json &item) {
    if (kind == ingest::Kind::DevicesErrors) {
        std::string text = item.dump();
        return {sha256Text(text), textOf(item, "timestamp"), std::move(text), Event::Form::json};
    }
    std::string &identifier = item["eventId"].get_ref<std::string &>();
    json &consent = item["consentString"];
    auto *text = consent.get_ptr<std::string *>();
    const auto form = text != nullptr     ? Event::Form::text
                      : consent.is_null() ? Event::Form::null
                                          : Event::Form::json;
    return {std::move(identifier), textOf(item, "localDate"),
            text != nullptr ? std::move(*text) : consent.dump(), form};
}

} // namespace

std::string judge(const ingest::Request &request, ingest::Kind kind, Delivery &delivery) {
    ingest::Report report = ingest::reportOfBody(request);
    if (std::string fault = faultIn(report); !fault.empty())
        return fault;
    delivery = {};
    delivery.kind = kind;
    delivery.apiKey = *ingest::onlyHeader(request, "X-Api-Key");
    delivery.device = deviceOf(report.envelope);
    delivery.envelope = report.envelope.dump();
    delivery.events.reserve(report.items.size());
    for (json &item : report.items)
        delivery.events.push_back(eventOf(kind, item));
    delivery.bytes = request.body.size();
    delivery.unpackedBytes = report.textLength + delivery.events.size() * memoryOfEvent;
    return {};
}

} // namespace velmora::collect
