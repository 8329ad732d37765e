#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "platform/Format.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"

namespace vmr {

Dictionary
VMRNetworkManager::authVMRHeaderForRelativeURL(const std::optional<std::string> &relativeURL,
                                               bool isGZIP) const {
    const auto key = apiKey();
    const Secret held = secret();
    // "%@/%@/%@/" of secret, address and key. An absent part is written "(null)", and the service's
    // check does the same.
    const std::string_view first = held.orElse(FormatArgument::absent);
    const std::string rest = formatText("/%@/%@/", relativeURL, key);
    std::string signedText;
    signedText.reserve(first.size() + rest.size()); // so that it stands in one place
    signedText.append(first).append(rest);
    const std::string token = VMR_sha1(signedText);
    wipe(signedText);

    Dictionary headers;
    put(headers, "Authorization", Value::string(formatText("Token token=%@", token)));
    put(headers, "Accept", Value::string("application/json"));
    put(headers, "Content-Type", Value::string("application/json"));
    if (key)
        put(headers, "X-Api-Key", Value::string(*key));
    put(headers, "X-Bundle-Identifier",
        Value::string(formatText("%@", platform().mainBundle->bundleIdentifier())));
    if (isGZIP)
        put(headers, "Content-Encoding", Value::string("gzip"));
    // Credentials in clear: the gate is for debugging only.
    debugLog("%@", headers);
    return headers;
}

} // namespace vmr
