#include "ingest/Report.h"

#include "Text.h"
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

/// Of a body in a line; what is longer is told of in part.
constexpr std::size_t longestLine = std::size_t{2} << 20;
constexpr std::size_t longestInLine = 4096;

/// Keeps the first problems; the items whose problems go are told of by a number.
void bound(Report &report) {
    std::size_t left = mostProblems;
    const auto cut = [&left](auto &problems) {
        const std::size_t gone = problems.size() - std::min(problems.size(), left);
        left -= problems.size() - gone;
        problems.resize(problems.size() - gone);
        return gone;
    };
    std::size_t gone = cut(report.findings);
    for (Problems &problems : report.itemProblems)
        gone += cut(problems);
    if (gone > 0)
        report.findings.push_back({"body", "and " + std::to_string(gone) + " more problems"});
}

/// The part of a value that a line has room for, as `left` counts it.
json partOf(const json &value, std::size_t &left) {
    const auto take = [&left](std::string_view text) {
        left -= std::min(left, std::min(text.size(), longestInLine) + sizeof(json));
        return shortened(text, longestInLine);
    };
    if (const std::string *text = value.get_ptr<const std::string *>())
        return take(*text);
    if (!value.is_structured())
        return value;
    json part = value.is_array() ? json::array() : json::object();
    for (const auto &entry : value.items()) {
        if (left == 0)
            break;
        const std::string key = take(entry.key());
        if (value.is_array())
            part.push_back(partOf(entry.value(), left));
        else
            part[key] = partOf(entry.value(), left);
    }
    return part;
}

json shownOf(const json &value, const Report &report) {
    std::size_t left = longestLine;
    return report.textLength > longestLine ? partOf(value, left) : value;
}

std::string soundOr(const std::string &problem) {
    return problem.empty() ? "sound" : problem;
}

/// Takes the body's JSON apart into envelope and items.
void reportJson(const Request &request, json body, Report &report) {
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

void readBody(const Request &request, Report &report) {
    GzipText gzip = readGzip(request.body);
    JsonText body{"not read: gzip is not sound", {}, {}};
    if (gzip.problem.empty()) {
        if (!isBestCompression(request.body))
            report.findings.push_back({"gzip", "the body is not compressed at the best level"});
        report.textLength = gzip.text.size();
        body = readJson(std::move(gzip.text));
    }
    for (const std::string &key : body.repeatedKeys)
        report.findings.push_back({"body", inQuotes(key) + " appears twice in one object"});
    report.gzip = soundOr(gzip.problem);
    report.json = soundOr(body.problem);
    if (body.problem.empty())
        reportJson(request, std::move(body.value), report);
    bound(report);
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
    readBody(request, report);
    return report;
}

Report reportOfBody(const Request &request) {
    Report report;
    report.kind = kindOfTarget(request.target);
    readBody(request, report);
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
                         {"envelope", shownOf(report.envelope, report)},
                         {"items", shownOf(report.items, report)},
                         {"itemProblems", report.itemProblems},
                         {"problems", ordered_json::array()},
                         {"answer", answer}};
    for (const Finding &finding : report.findings)
        line["problems"].push_back(finding.text);
    if (report.textLength > longestLine)
        line["cut"] = true;
    return line;
}

ordered_json lineAboutRefused(const Request &request, const std::string &why, int answer) {
    return {{"method", request.method},
            {"path", request.target},
            {"sound", false},
            {"problems", ordered_json::array({why})},
            {"answer", answer}};
}

} // namespace velmora::ingest
