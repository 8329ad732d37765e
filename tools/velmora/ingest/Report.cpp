#include "ingest/Report.h"

#include "ingest/EnvelopeCheck.h"
#include "ingest/Gzip.h"
#include "ingest/HeaderCheck.h"
#include "ingest/ItemCheck.h"
#include "ingest/JsonText.h"
#include "ingest/SignatureCheck.h"

#include <algorithm>
#include <iterator>

namespace velmora::ingest {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

std::string soundOr(const std::string &problem) {
    return problem.empty() ? "sound" : problem;
}

/// Takes the body apart into envelope and items.
void reportBody(const Request &request, json body, Report &report) {
    if (!body.is_object()) {
        report.findings.push_back({"body", "the body is a list instead of an object"});
        return;
    }
    json batch = body.contains("batch") ? std::move(body["batch"]) : json();
    body.erase("batch");
    report.envelope = std::move(body);
    if (report.kind)
        std::ranges::move(checkEnvelope(*report.kind, report.envelope,
                                        onlyHeader(request, "X-Bundle-Identifier")),
                          std::back_inserter(report.findings));
    if (!batch.is_array()) {
        report.findings.push_back({"body", "\"batch\" is missing or not a list"});
        return;
    }
    if (batch.empty())
        report.findings.push_back({"body", "\"batch\" is empty"});
    report.items = std::move(batch);
    if (report.kind)
        report.itemProblems = checkItems(*report.kind, report.items, report.uuid());
}

} // namespace

std::string Report::uuid() const {
    const auto entry = envelope.find("uuid");
    return entry != envelope.end() && entry->is_string() ? entry->get<std::string>() : "";
}

bool Report::isSound() const {
    return findings.empty() && gzip == "sound" && json == "sound" &&
           (signature == "right" || signature.starts_with("not checked")) &&
           std::ranges::all_of(itemProblems, &Problems::empty);
}

Report report(const Request &request, const Credentials &credentials) {
    Report report;
    report.kind = kindOfTarget(request.target);
    report.findings = checkHead(request, report.kind);
    report.signature = checkSignature(request, report.kind, credentials);
    GzipText gzip = readGzip(request.body);
    JsonText body{"not read: gzip is not sound", {}, {}};
    if (gzip.problem.empty()) {
        if (!isBestCompression(request.body))
            report.findings.push_back({"gzip", "the body is not compressed at the best level"});
        body = readJson(gzip.text);
    }
    for (const std::string &key : body.repeatedKeys)
        report.findings.push_back({"body", "\"" + key + "\" stands twice in one object"});
    report.gzip = soundOr(gzip.problem);
    report.json = soundOr(body.problem);
    report.text = std::move(gzip.text);
    if (body.problem.empty())
        reportBody(request, std::move(body.value), report);
    return report;
}

ordered_json lineAbout(const Request &request, const Report &report, int answer) {
    ordered_json line = {{"method", request.method},
                         {"path", request.target},
                         {"sound", report.isSound()},
                         {"signature", report.signature},
                         {"gzip", report.gzip},
                         {"json", report.json},
                         {"bytes", request.body.size()},
                         {"envelope", report.envelope},
                         {"items", report.items},
                         {"itemProblems", report.itemProblems},
                         {"problems", ordered_json::array()},
                         {"answer", answer}};
    for (const Finding &finding : report.findings)
        line["problems"].push_back(finding.text);
    return line;
}

ordered_json lineAboutUnreadable(const Request &request, int answer) {
    return {{"method", request.method},
            {"path", request.target},
            {"sound", false},
            {"problems", ordered_json::array({unreadableRequest})},
            {"answer", answer}};
}

} // namespace velmora::ingest
