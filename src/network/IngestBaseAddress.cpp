#include "network/IngestBaseAddress.h"

#include "network/DeploymentAddress.h"
#include "network/VMRNetworkManager.h"
#include "platform/Format.h"
#include "platform/Hexadecimal.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"
#include "platform/SystemLog.h"
#include "platform/Text.h"
#include "platform/WebAddress.h"

#include <optional>

namespace vmr {
namespace {

constexpr std::string_view informationKey = "VMRIngestBaseAddress";
constexpr std::size_t longestShown = 200;

/// For a log: without passwords and tokens, and without characters that would break its line.
std::string shown(std::string_view text) {
    constexpr const char *mask = "***";
    std::string masked(text);
    if (const std::size_t at = masked.rfind('@'); at != std::string::npos) {
        const std::size_t scheme = masked.find("://");
        const std::size_t user = scheme < at ? scheme + 3 : 0;
        masked.replace(user, at - user, mask);
    }
    if (const std::size_t query = masked.find_first_of("?#"); query != std::string::npos)
        masked.replace(query + 1, std::string::npos, mask);
    std::string escaped;
    for (const char &c : masked.substr(0, longestShown)) {
        if (c >= ' ' && c <= '~')
            escaped += c;
        else
            appendHexadecimal(escaped += "\\x", {&c, 1});
    }
    return masked.size() > longestShown ? escaped + "..." : escaped;
}

/// Empty where nothing is.
std::string whatIsWrongWith(std::string_view text) {
    if (text.empty())
        return "it is empty";
    if (percentEncodedAddress(text) != text)
        return "it holds characters that an address must not hold";
    const Expected<WebAddress> read = WebAddress::forRequest(text);
    if (const auto *refusal = std::get_if<PlatformError>(&read))
        return refusal->debugDescription();
    if (std::get_if<WebAddress>(&read)->hasQueryOrFragment)
        return "it holds a query or fragment: leave \"?\" and \"#\" out";
    if (!text.ends_with('/'))
        return "it does not end with \"/\"";
    return {};
}

} // namespace

std::optional<std::string> refusalOfIngestBaseAddress(std::string_view text) {
    const std::string fault = whatIsWrongWith(text);
    if (fault.empty())
        return std::nullopt;
    return formatText(
        "the ingest base address \"%@\" is refused, nothing can be sent: %@. A right one "
        "looks like https://ingest.example.com/",
        shown(text), fault);
}

ConfiguredIngestAddress configuredIngestAddress() {
    const Value given = platform().mainBundle->objectForInfoDictionaryKey(informationKey);
    ConfiguredIngestAddress configured;
    configured.isBuiltIn = given.isAbsent();
    if (const std::string *givenText = given.asString())
        configured.text = *givenText;
    else if (configured.isBuiltIn)
        configured.text = VMRNetworkManager::rvs(reversedDeploymentAddress);

    configured.refusal = refusalOfIngestBaseAddress(configured.text);
    return configured;
}

std::string ingestBaseAddress() {
    ConfiguredIngestAddress configured = configuredIngestAddress();
    if (!configured.refusal)
        return std::move(configured.text);
    const std::string_view source =
        configured.isBuiltIn ? "built into the library"
                             : "ingest_base_address, or \"VMRIngestBaseAddress\" in Info.json";
    platform().systemLog->write(formatText("VelmoraKit: %@ (%@)", *configured.refusal, source),
                                LogLevel::error);
    return {};
}

const std::vector<std::string> &VMRNetworkManager::s() {
    static const auto &addresses = *new std::vector<std::string>{ingestBaseAddress()};
    return addresses;
}

std::string VMRNetworkManager::rvs(std::string_view text) {
    std::string reversed;
    for (const std::string_view character : composedCharacters(text))
        reversed.insert(0, character);
    return reversed;
}

} // namespace vmr
