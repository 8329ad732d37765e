#include "ingest/HeaderCheck.h"

#include "Signature.h"
#include "ingest/TextForms.h"

#include <strings.h>

#include <algorithm>

namespace velmora::ingest {
namespace {

constexpr std::string_view tokenPrefix = "Token token=";
constexpr std::string_view absentText = "(null)";

bool isNamed(const std::string &header, std::string_view name) {
    return header.size() == name.size() &&
           ::strncasecmp(header.data(), name.data(), name.size()) == 0;
}

std::size_t countHeader(const Request &request, std::string_view name) {
    return static_cast<std::size_t>(
        std::count_if(request.headers.begin(), request.headers.end(),
                      [&](const auto &header) { return isNamed(header.first, name); }));
}

/// The version prefix of an address is not signed.
std::string_view signedPath(Kind kind) {
    return kind == Kind::Consents ? "consents" : "devices_errors";
}

void requireHeader(const Request &request, std::string_view name, std::string_view value,
                   Problems &problems) {
    const std::string header(name);
    const std::size_t count = countHeader(request, name);
    if (count == 0) {
        problems.push_back("header " + header + " is missing");
    } else if (count > 1) {
        problems.push_back("header " + header + " is there " + std::to_string(count) + " times");
    } else if (!value.empty() && *onlyHeader(request, name) != value) {
        problems.push_back("header " + header + " is \"" + *onlyHeader(request, name) +
                           "\" instead of \"" + std::string(value) + "\"");
    }
}

void checkNoOtherHeader(const Request &request, Problems &problems) {
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
            problems.push_back("header " + header.first + " does not belong here");
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

std::optional<std::string> onlyHeader(const Request &request, std::string_view name) {
    if (countHeader(request, name) != 1)
        return std::nullopt;
    return std::find_if(request.headers.begin(), request.headers.end(),
                        [&](const auto &header) { return isNamed(header.first, name); })
        ->second;
}

std::string checkSignature(const Request &request, std::optional<Kind> kind,
                           const Credentials &credentials) {
    const std::size_t keys = countHeader(request, "X-Api-Key");
    const std::optional<std::string> key = onlyHeader(request, "X-Api-Key");
    if (keys > 1)
        return "header X-Api-Key is there " + std::to_string(keys) + " times";
    if (credentials.apiKey && !key)
        return "header X-Api-Key is missing";
    if (credentials.apiKey && key != credentials.apiKey)
        return "header X-Api-Key is \"" + *key + "\", which is not the expected key";

    const std::optional<std::string> authorization = onlyHeader(request, "Authorization");
    if (!authorization)
        return countHeader(request, "Authorization") == 0
                   ? "header Authorization is missing"
                   : "header Authorization is there more than once";
    if (!authorization->starts_with(tokenPrefix) ||
        !isLowerHexadecimal(std::string_view(*authorization).substr(tokenPrefix.size()), 40))
        return "header Authorization is not \"Token token=\" and 40 lower-case hexadecimal digits";

    if (!kind)
        return "not checked: the address names no resource";
    const std::string_view token = std::string_view(*authorization).substr(tokenPrefix.size());
    const std::string_view usedKey = key ? std::string_view(*key) : absentText;
    const std::string_view secret = credentials.secret ? *credentials.secret : absentText;
    if (token == tokenFor(secret, signedPath(*kind), usedKey))
        return "right";
    if (!credentials.secret)
        return "not checked: no secret was given to this service";
    return "header Authorization holds a wrong token: it was made with another secret, another "
           "API key than X-Api-Key, or another path than \"" +
           std::string(signedPath(*kind)) + "\"";
}

Problems checkHead(const Request &request, std::optional<Kind> kind) {
    Problems problems;
    if (request.method != "POST")
        problems.push_back("method is " + request.method + " instead of POST");
    if (!kind)
        problems.emplace_back("address is neither /1.0/consents nor /devices_errors");
    requireHeader(request, "Accept", "application/json", problems);
    requireHeader(request, "Content-Type", "application/json", problems);
    requireHeader(request, "Content-Encoding", "gzip", problems);
    requireHeader(request, "Content-Length", std::to_string(request.body.size()), problems);
    requireHeader(request, "X-Bundle-Identifier", "", problems);
    checkNoOtherHeader(request, problems);
    return problems;
}

} // namespace velmora::ingest
