#include "page/Detail.h"

#include "Text.h"
#include "ingest/Gzip.h"
#include "ingest/ItemCheck.h"
#include "ingest/Report.h"
#include "page/Summary.h"
#include "page/TokenSteps.h"

namespace velmora::page {
namespace {

using namespace ingest;
using nlohmann::ordered_json;

/// What a page takes in at a glance; the rest is in the file.
constexpr std::size_t mostItems = 1000;
constexpr std::size_t longestText = std::size_t{512} << 10;
constexpr std::size_t longestEntry = std::size_t{64} << 10;
constexpr std::size_t longestInRow = 100;

/// A text that is too long says where the whole of it is.
std::string entryText(const std::string &text) {
    return text.size() <= longestEntry
               ? text
               : shortened(text, longestEntry) + " (the first of " + std::to_string(text.size()) +
                     " bytes; the whole is in the body)";
}

ordered_json findingsOf(const Report &report) {
    ordered_json list = ordered_json::array();
    const auto add = [&](const std::string &about, const std::string &text) {
        list.push_back({{"about", shortened(about, longestInRow)}, {"text", entryText(text)}});
    };
    if (report.signature != "right" && !report.signature.starts_with("not checked"))
        add("signature", report.signature);
    if (report.gzip != "sound")
        add("gzip", report.gzip);
    else if (report.json != "sound")
        add("JSON", report.json);
    for (const Finding &finding : report.findings)
        add(finding.about, finding.text);
    return list;
}

ordered_json headersOf(const Request &request, const Credentials &credentials) {
    ordered_json list = ordered_json::array();
    for (const auto &[name, value] : request.headers)
        list.push_back({{"name", entryText(masked(name, credentials))},
                        {"value", entryText(masked(value, credentials))}});
    return list;
}

ordered_json envelopeOf(const nlohmann::json &envelope) {
    ordered_json list = ordered_json::array();
    for (const auto &[name, value] : envelope.items()) {
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        list.push_back({{"name", entryText(name)}, {"value", entryText(text)}});
    }
    return list;
}

std::string textOr(const nlohmann::json &item, const char *key, const std::string &otherwise) {
    const auto entry = item.find(key);
    return entry != item.end() && entry->is_string()
               ? shortened(entry->get_ref<const std::string &>(), longestInRow)
               : otherwise;
}

ordered_json itemsOf(const Report &report) {
    ordered_json list = ordered_json::array();
    for (std::size_t i = 0; i < report.items.size() && i < mostItems; ++i) {
        const nlohmann::json &item = report.items[i];
        const bool isObject = item.is_object();
        list.push_back(
            {{"date", isObject ? textOr(item, "localDate", textOr(item, "timestamp", "")) : ""},
             {"id", isObject ? textOr(item, "eventId", "") : ""},
             {"text", isObject ? textOr(item, "consentString", textOr(item, "exception", ""))
                               : shortened(item.dump(), longestInRow)},
             {"hasConsent",
              isObject && item.contains("consentString") && item["consentString"].is_string()},
             {"isRecomputed", report.kind == Kind::Consents && report.itemProblems[i].empty() &&
                                  isMadeWith(item, report.uuid())},
             {"problems", i < report.itemProblems.size() ? report.itemProblems[i] : Problems()}});
    }
    return list;
}

} // namespace

ordered_json detailOf(const Exchange &exchange, const Credentials &credentials) {
    ordered_json detail = exchange.summary;
    detail["consequence"] = exchange.consequence;
    if (!exchange.refusal.empty()) {
        detail["findings"] = {{{"about", "request"}, {"text", exchange.refusal}}};
        return detail;
    }
    Report found = report(exchange.request, credentials);
    maskIn(found, credentials);
    ordered_json token = tokenSteps(exchange.request, found.kind, credentials);
    if (!credentials.secret && found.signature != exchange.signature) {
        // Of a recording, whose secret is not there.
        found.signature = exchange.signature;
        token["cause"] = "The service that recorded it found: " + exchange.signature;
    }
    token["verdict"] = shortened(found.signature, longestEntry);
    detail["findings"] = findingsOf(found);
    detail["headers"] = headersOf(exchange.request, credentials);
    detail["token"] = token;
    detail["envelope"] = envelopeOf(found.envelope);
    detail["hasEnvelope"] = found.envelope.is_object();
    detail["list"] = itemsOf(found);
    const std::string text = readGzip(exchange.request.body).text;
    detail["text"] = shortened(text, longestText);
    detail["isWhole"] = text.size() <= longestText;
    return detail;
}

std::string clearBodyOf(const Exchange &exchange) {
    GzipText gzip = readGzip(exchange.request.body);
    if (!gzip.problem.empty())
        return exchange.request.body;
    return std::move(gzip.text);
}

} // namespace velmora::page
