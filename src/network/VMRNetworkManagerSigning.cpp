#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "platform/Format.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"

namespace vmr {

Dictionary
VMRNetworkManager::authVMRHeaderForRelativeURL(std::optional<std::string_view> relativeURL,
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
    putText(headers, "Authorization", formatText("Token token=%@", token));
    putText(headers, "Accept", "application/json");
    putText(headers, "Content-Type", "application/json");
    putText(headers, "X-Api-Key", key);
    putText(headers, "X-Bundle-Identifier",
            formatText("%@", platform().mainBundle->bundleIdentifier()));
    if (isGZIP)
        putText(headers, "Content-Encoding", "gzip");
    // Credentials in clear: the gate is for debugging only.
    debugLog("%@", headers);
    return headers;
}

} // namespace vmr
