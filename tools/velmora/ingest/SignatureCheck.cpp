#include "ingest/SignatureCheck.h"

#include "Signature.h"
#include "ingest/HeaderCheck.h"
#include "ingest/TextForms.h"

namespace velmora::ingest {
namespace {

constexpr std::string_view tokenPrefix = "Token token=";

} // namespace

std::string_view signedPath(Kind kind) {
    return kind == Kind::Consents ? "consents" : "devices_errors";
}

std::optional<std::string> tokenOf(const Request &request) {
    const std::optional<std::string> authorization = onlyHeader(request, "Authorization");
    if (!authorization || !authorization->starts_with(tokenPrefix))
        return std::nullopt;
    std::string token = authorization->substr(tokenPrefix.size());
    if (!isLowerHexadecimal(token, 40))
        return std::nullopt;
    return token;
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

    const std::size_t authorizations = countHeader(request, "Authorization");
    if (authorizations != 1)
        return authorizations == 0 ? "header Authorization is missing"
                                   : "header Authorization is there more than once";
    const std::optional<std::string> token = tokenOf(request);
    if (!token)
        return "header Authorization is not \"Token token=\" and 40 lower-case hexadecimal digits";

    if (!kind)
        return "not checked: the address names no resource";
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

} // namespace velmora::ingest
