#include "page/TokenSteps.h"

#include "Digest.h"
#include "Signature.h"
#include "ingest/HeaderCheck.h"
#include "ingest/SignatureCheck.h"

namespace velmora::page {
namespace {

using namespace ingest;
using nlohmann::ordered_json;

constexpr const char *dots = "••••••••";
/// Dots in place of a shorter text would hide more than it.
constexpr std::size_t shortestMasked = 4;

struct Explanation {
    std::string cause;
    std::string remedy;
};

constexpr const char *comparePaths =
    "Sign the path without base address and version: consents or devices_errors.";
constexpr const char *compareSecrets =
    "Compare the secret that the application gives to the SDK with the one of this service.";

/// Looks for the mistake with which exactly this token comes out.
Explanation explainWrongToken(const std::string &token, const std::string &secret,
                              const std::string &path, const std::string &key,
                              const Credentials &credentials) {
    const auto isMadeWith = [&](const std::string &s, const std::string &p, const std::string &k) {
        return token == tokenFor(s, p, k);
    };
    for (const std::string &other : {"1.0/" + path, "/1.0/" + path, "/" + path,
                                     std::string("consents"), std::string("devices_errors")})
        if (isMadeWith(secret, other, key))
            return {"The token was made with the path \"" + other + "\".", comparePaths};
    if (credentials.apiKey && isMadeWith(secret, path, *credentials.apiKey))
        return {"The token was made with the API key of this service, but X-Api-Key is another.",
                "Send the key that is signed."};
    if (isMadeWith(secret, path, std::string(absentText)))
        return {"The token was made without an API key.", "Sign with the key in X-Api-Key."};
    if (isMadeWith(std::string(absentText), path, key))
        return {"The token was made without a secret.", "Give the SDK the secret at its start."};
    if (isMadeWith(key, path, secret) || isMadeWith(key, path, key))
        return {"The token was made with the API key in the place of the secret.",
                "Give the SDK the key first, then the secret."};
    for (const char *end : {"\n", " ", "\r\n"})
        if (isMadeWith(secret + end, path, key))
            return {"The token was made with the right secret with a blank or line feed after it.",
                    "Take the white space off where the application reads its secret."};
    if (token == sha1Text(secret + "/" + path + "/" + key))
        return {"The token was made without the last slash.",
                "Each of the three parts is followed by a slash."};
    return {"The path and the key are right, so the token was made with another secret.",
            compareSecrets};
}

Explanation explain(const Request &request, std::optional<Kind> kind,
                    const Credentials &credentials) {
    const std::optional<std::string> key = onlyHeader(request, "X-Api-Key");
    const std::string verdict = checkSignature(request, kind, credentials);
    if (verdict == "right")
        return {};
    if (credentials.secret && key == credentials.secret)
        return {"X-Api-Key holds the secret: key and secret are swapped.",
                "Give the SDK the key first, then the secret."};
    if (credentials.apiKey && key != credentials.apiKey)
        return {key ? "X-Api-Key is not the key that this service expects."
                    : "X-Api-Key is missing.",
                "Compare the key that the application gives to the SDK with the one of this "
                "service."};
    const std::optional<std::string> token = tokenOf(request);
    if (!token)
        return {"The header does not hold a token.",
                "It is \"Token token=\" and the 40 digits of the SHA-1 in lower case."};
    if (!kind)
        return {"The address names no resource, so there is no path to sign.",
                "Post to /1.0/consents or /devices_errors."};
    if (!credentials.secret)
        return {"This service was given no secret, so it cannot tell.",
                "Start it with --secret-file to have signatures checked."};
    return explainWrongToken(*token, *credentials.secret, std::string(signedPath(*kind)),
                             key.value_or(std::string(absentText)), credentials);
}

} // namespace

ordered_json tokenSteps(const Request &request, std::optional<Kind> kind,
                        const Credentials &credentials) {
    const bool hasSecret = credentials.secret.has_value();
    const std::string secret = credentials.secret.value_or(std::string(absentText));
    const std::string path = kind ? std::string(signedPath(*kind)) : "";
    const std::optional<std::string> header = onlyHeader(request, "X-Api-Key");
    const std::string key = header.value_or(std::string(absentText));
    const std::string shown = masked(key, credentials);

    ordered_json steps = ordered_json::array();
    const auto add = [&](const char *name, const std::string &text, const char *note) {
        steps.push_back({{"name", name}, {"text", text}, {"note", note}});
    };
    add("Secret", hasSecret ? dots : secret,
        hasSecret ? "the one that this service was given" : "this service was given none");
    add("Path", path,
        kind ? "the address without base and version" : "the address names no resource");
    add("API key", shown, header ? "from X-Api-Key" : "there is no X-Api-Key");
    if (kind) {
        add("Text", (hasSecret ? dots : secret) + ("/" + path + "/" + shown) + "/",
            "the three, a slash after each");
        add("SHA-1 of it", tokenFor(secret, path, key), "what the token must be");
    }
    add("Token that came", tokenOf(request).value_or(""), "from Authorization");
    const Explanation explanation = explain(request, kind, credentials);
    return {{"steps", steps}, {"cause", explanation.cause}, {"remedy", explanation.remedy}};
}

std::string masked(std::string text, const Credentials &credentials) {
    if (!credentials.secret || credentials.secret->size() < shortestMasked ||
        credentials.secret == credentials.apiKey)
        return text;
    const std::string &secret = *credentials.secret;
    for (std::size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + std::string_view(dots).size()))
        text.replace(at, secret.size(), dots);
    return text;
}

void maskIn(Report &report, const Credentials &credentials) {
    report.signature = masked(std::move(report.signature), credentials);
    for (Finding &finding : report.findings)
        finding = {masked(std::move(finding.about), credentials),
                   masked(std::move(finding.text), credentials)};
}

} // namespace velmora::page
