#include "page/Summary.h"

#include "Text.h"
#include "ingest/Faults.h"

namespace velmora::page {
namespace {

using namespace ingest;
using nlohmann::json;
using nlohmann::ordered_json;

/// A row has room for no more.
constexpr std::size_t longest = 200;

std::string entryOf(const json &object, const char *key) {
    if (!object.is_object())
        return {};
    const auto entry = object.find(key);
    return entry != object.end() && entry->is_string()
               ? shortened(entry->get_ref<const std::string &>(), longest)
               : std::string();
}

std::string deviceOf(const json &envelope) {
    for (const char *key : {"uuidV", "vmrId", "uuid"})
        if (std::string id = entryOf(envelope, key); !id.empty())
            return id;
    return {};
}

std::vector<Event> eventsOf(const Report &report) {
    std::vector<Event> events;
    if (report.kind != Kind::Consents)
        return events;
    for (const json &item : report.items) {
        Event event{entryOf(item, "eventId"), entryOf(item, "localDate"), std::nullopt};
        if (item.is_object() && item.contains("consentString") && item["consentString"].is_string())
            event.consent = item["consentString"];
        events.push_back(std::move(event));
    }
    return events;
}

ordered_json part(const std::string &problem) {
    return {{"state", problem.empty() ? "good" : "bad"}, {"text", shortened(problem, longest)}};
}

/// The first of the findings about something that begins with one of the words.
std::string firstAbout(const Findings &findings, std::initializer_list<std::string_view> words) {
    for (const Finding &finding : findings)
        for (const std::string_view word : words)
            if (finding.about.starts_with(word))
                return finding.text;
    return {};
}

std::string firstOf(const std::vector<Problems> &items) {
    for (std::size_t i = 0; i < items.size(); ++i)
        if (!items[i].empty())
            return "item " + std::to_string(i + 1) + ": " + items[i].front();
    return {};
}

ordered_json signaturePart(const std::string &verdict) {
    if (verdict.starts_with("not checked"))
        return {{"state", "unknown"}, {"text", verdict}};
    return part(verdict == "right" ? "" : verdict);
}

ordered_json notChecked() {
    return {{"state", "unknown"}, {"text", "not checked"}};
}

std::string unlessSound(const std::string &verdict) {
    return verdict == "sound" ? "" : verdict;
}

std::string kindInWords(std::optional<Kind> kind) {
    if (!kind)
        return "other";
    return *kind == Kind::Consents ? "consents" : "errors";
}

/// The parts of a request that are judged one by one, each as
/// {"state": "good" | "bad" | "unknown", "text": …}.
ordered_json partsOf(const Report &report) {
    const std::string gzip = unlessSound(report.gzip);
    const std::string body = unlessSound(report.json);
    const bool isRead = body.empty() && report.kind;
    return {{"headers", part(firstAbout(report.findings, {"method", "address", "header "}))},
            {"signature", signaturePart(report.signature)},
            {"gzip", part(gzip.empty() ? firstAbout(report.findings, {"gzip"}) : gzip)},
            {"JSON", !gzip.empty()  ? notChecked()
                     : body.empty() ? part(firstAbout(report.findings, {"body"}))
                                    : part(body)},
            {"envelope", isRead ? part(firstAbout(report.findings, {"envelope "})) : notChecked()},
            {"items", isRead ? part(firstOf(report.itemProblems)) : notChecked()}};
}

} // namespace

Exchange exchangeOf(Arrival arrival, const Report &report, std::int64_t time) {
    const bool isRefused = !arrival.refusal.empty();
    Exchange exchange;
    exchange.time = time;
    exchange.refusal = arrival.refusal;
    exchange.isDelivered = isSuccess(arrival.answer);
    exchange.consequence = consequenceOf(arrival.answer);
    exchange.signature = report.signature;
    exchange.device = deviceOf(report.envelope);
    exchange.events = eventsOf(report);
    exchange.summary = {{"number", 0},
                        {"time", time},
                        {"method", shortened(arrival.request.method, longest)},
                        {"path", shortened(arrival.request.target, longest)},
                        {"kind", isRefused ? "refused" : kindInWords(report.kind)},
                        {"device", exchange.device},
                        {"app", entryOf(report.envelope, "bundleId")},
                        {"appVersion", entryOf(report.envelope, "appVersion")},
                        {"sdkVersion", entryOf(report.envelope, "sdkVersion")},
                        {"system", entryOf(report.envelope, "systemVersion")},
                        {"model", entryOf(report.envelope, "deviceModel")},
                        {"sound", !isRefused && report.isSound()},
                        {"parts", isRefused ? ordered_json::object() : partsOf(report)},
                        {"bytes", arrival.request.body.size()},
                        {"unpacked", report.textLength},
                        {"items", report.items.size()},
                        {"answer", arrival.answer.shownStatus()},
                        {"fault", arrival.answer.fault},
                        {"delay", arrival.answer.delay.count()},
                        {"delivered", exchange.isDelivered}};
    exchange.request = std::move(arrival.request);
    exchange.answer = std::move(arrival.answer);
    exchange.answer.body.clear();
    return exchange;
}

} // namespace velmora::page
