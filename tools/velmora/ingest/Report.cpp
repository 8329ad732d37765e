#include "ingest/Report.h"

#include "ingest/EnvelopeCheck.h"
#include "ingest/Gzip.h"
#include "ingest/HeaderCheck.h"
#include "ingest/ItemCheck.h"
#include "ingest/JsonText.h"

#include <algorithm>

namespace velmora::ingest {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

std::string soundOr(const std::string &problem) {
    return problem.empty() ? "sound" : problem;
}

/// Takes the body apart into "envelope", "items" and "itemProblems".
void reportBody(const Request &request, std::optional<Kind> kind, json body, ordered_json &line,
                Problems &problems) {
    if (!body.is_object()) {
        problems.emplace_back("the body is a list instead of an object");
        return;
    }
    const json batch = body.contains("batch") ? body["batch"] : json();
    body.erase("batch");
    line["envelope"] = body;
    if (kind) {
        for (std::string &problem :
             checkEnvelope(*kind, body, onlyHeader(request, "X-Bundle-Identifier")))
            problems.push_back(std::move(problem));
    }
    if (!batch.is_array()) {
        problems.emplace_back("\"batch\" is missing or not a list");
        return;
    }
    if (batch.empty())
        problems.emplace_back("\"batch\" is empty");
    line["items"] = batch;
    if (kind) {
        const auto uuid = body.find("uuid");
        line["itemProblems"] =
            checkItems(*kind, batch, uuid != body.end() && uuid->is_string() ? *uuid : json(""));
    }
}

bool isSound(const ordered_json &line) {
    const std::string signature = line["signature"];
    const auto &items = line["itemProblems"];
    return line["problems"].empty() && line["gzip"] == "sound" && line["json"] == "sound" &&
           (signature == "right" || signature.starts_with("not checked")) &&
           std::all_of(items.begin(), items.end(),
                       [](const auto &problems) { return problems.empty(); });
}

} // namespace

ordered_json report(const Request &request, const Credentials &credentials) {
    const std::optional<Kind> kind = kindOfTarget(request.target);
    Problems problems = checkHead(request, kind);
    const GzipText gzip = readGzip(request.body);
    JsonText body{"not read: gzip is not sound", {}, {}};
    if (gzip.problem.empty()) {
        if (!isBestCompression(request.body))
            problems.emplace_back("the body is not compressed at the best level");
        body = readJson(gzip.text);
    }
    for (const std::string &key : body.repeatedKeys)
        problems.push_back("\"" + key + "\" stands twice in one object");

    ordered_json line = {{"method", request.method},
                         {"path", request.target},
                         {"sound", false},
                         {"signature", checkSignature(request, kind, credentials)},
                         {"gzip", soundOr(gzip.problem)},
                         {"json", soundOr(body.problem)},
                         {"bytes", request.body.size()},
                         {"envelope", nullptr},
                         {"items", json::array()},
                         {"itemProblems", json::array()},
                         {"problems", json::array()}};
    if (body.problem.empty())
        reportBody(request, kind, std::move(body.value), line, problems);
    line["problems"] = problems;
    line["sound"] = isSound(line);
    return line;
}

} // namespace velmora::ingest
