#include "device/VMRSystemInfosFetcher.h"

#include "platform/AdvertisingIdentity.h"
#include "platform/CurrentDevice.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"
#include "platform/Text.h"

#include <string_view>

namespace vmr {
namespace {

constexpr std::string_view buildRevision = "87fc043";
constexpr std::string_view versionSuffix = "-Debug";
constexpr std::size_t bundleIdentifierLimit = 256;
constexpr std::uint64_t trackingAuthorized = 3;

} // namespace

std::string VMRSystemInfosFetcher::sdkVersion() {
    return std::string(buildRevision.substr(0, 6)).append(versionSuffix);
}

std::optional<std::string> VMRSystemInfosFetcher::bundleIdShort() {
    auto identifier = platform().mainBundle->bundleIdentifier();
    if (!identifier)
        return std::nullopt;
    const std::size_t length = utf16Length(*identifier);
    if (length < bundleIdentifierLimit)
        return identifier;
    return substringFromUTF16Index(*identifier, length - bundleIdentifierLimit);
}

std::string VMRSystemInfosFetcher::deviceModel() {
    return platform().currentDevice->machine();
}

std::optional<std::string> VMRSystemInfosFetcher::appVersion() {
    const Value version =
        platform().mainBundle->objectForInfoDictionaryKey("CFBundleShortVersionString");
    // An unquoted version in the host's file is a number.
    if (version.asString() || version.isNumber())
        return version.description();
    return std::nullopt;
}

std::string VMRSystemInfosFetcher::systemVersion() {
    return platform().currentDevice->systemVersion();
}

std::string VMRSystemInfosFetcher::idfa() {
    return platform().advertisingIdentity->advertisingIdentifier();
}

bool VMRSystemInfosFetcher::isAdTrackingEnabled() {
    const auto &identity = *platform().advertisingIdentity;
    if (platform().currentDevice->isSystemVersionAtLeast(14, 0))
        return identity.trackingAuthorizationStatus() == trackingAuthorized;
    return identity.isAdvertisingTrackingEnabled();
}

std::optional<std::string> VMRSystemInfosFetcher::idfv() {
    const auto &device = *platform().currentDevice;
    return device.respondsToIdentifierForVendor() ? device.identifierForVendor() : "";
}

} // namespace vmr
