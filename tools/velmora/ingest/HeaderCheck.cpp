#include "ingest/HeaderCheck.h"

#include <strings.h>

#include <algorithm>

namespace velmora::ingest {
namespace {

bool isNamed(const std::string &header, std::string_view name) {
    return header.size() == name.size() &&
           ::strncasecmp(header.data(), name.data(), name.size()) == 0;
}

void requireHeader(const Request &request, std::string_view name, std::string_view value,
                   Findings &findings) {
    const std::string about = "header " + std::string(name);
    const std::size_t count = countHeader(request, name);
    if (count == 0) {
        findings.push_back({about, about + " is missing"});
    } else if (count > 1) {
        findings.push_back({about, about + " is there " + std::to_string(count) + " times"});
    } else if (!value.empty() && *onlyHeader(request, name) != value) {
        findings.push_back({about, about + " is \"" + *onlyHeader(request, name) +
                                       "\" instead of \"" + std::string(value) + "\""});
    }
}

void checkNoOtherHeader(const Request &request, Findings &findings) {
    // The service's own, then those that HTTP itself brings along.
    static constexpr std::string_view known[] = {
        "Authorization",       "Accept",           "Content-Type",   "X-Api-Key",
        "X-Bundle-Identifier", "Content-Encoding", "Content-Length", "Host",
        "Accept-Encoding",     "Accept-Language",  "Connection",     "User-Agent"};
    for (const auto &header : request.headers) {
        const bool isKnown =
            std::any_of(std::begin(known), std::end(known),
                        [&](std::string_view name) { return isNamed(header.first, name); });
        if (!isKnown)
            findings.push_back(
                {"header " + header.first, "header " + header.first + " does not belong here"});
    }
}

} // namespace

std::optional<Kind> kindOfTarget(const std::string &target) {
    if (target == "/1.0/consents")
        return Kind::Consents;
    if (target == "/devices_errors")
        return Kind::DevicesErrors;
    return std::nullopt;
}

std::size_t countHeader(const Request &request, std::string_view name) {
    return static_cast<std::size_t>(
        std::count_if(request.headers.begin(), request.headers.end(),
                      [&](const auto &header) { return isNamed(header.first, name); }));
}

std::optional<std::string> onlyHeader(const Request &request, std::string_view name) {
    if (countHeader(request, name) != 1)
        return std::nullopt;
    return std::find_if(request.headers.begin(), request.headers.end(),
                        [&](const auto &header) { return isNamed(header.first, name); })
        ->second;
}

Findings checkHead(const Request &request, std::optional<Kind> kind) {
    Findings findings;
    if (request.method != "POST")
        findings.push_back({"method", "method is " + request.method + " instead of POST"});
    if (!kind)
        findings.push_back({"address", "address is neither /1.0/consents nor /devices_errors"});
    requireHeader(request, "Accept", "application/json", findings);
    requireHeader(request, "Content-Type", "application/json", findings);
    requireHeader(request, "Content-Encoding", "gzip", findings);
    requireHeader(request, "Content-Length", std::to_string(request.body.size()), findings);
    requireHeader(request, "X-Bundle-Identifier", "", findings);
    checkNoOtherHeader(request, findings);
    return findings;
}

} // namespace velmora::ingest
