#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/PendingDiagnosis.h"
#include "api/Report.h"
#include "consent/VMRConsentDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "facade/Velmora.h"
#include "network/ExchangeReport.h"
#include "network/IngestBaseAddress.h"
#include "platform/AdvertisingIdentity.h"
#include "platform/CurrentDevice.h"
#include "platform/Format.h"
#include "platform/InterceptionGuard.h"
#include "platform/MainBundle.h"
#include "platform/TaggedJSON.h"
#include "platform/linux/loops/LinuxRunLoops.h"
#include "platform/linux/preferences/SQLitePreferences.h"

#include <array>

namespace vmr::api {
namespace {

std::optional<std::string_view> unlessEmpty(std::string_view text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

/// In the order of PreferencesTrouble::Kind.
constexpr std::array<const char *, 6> troubleKinds = {"",       "refused", "locked",
                                                      "failed", "failed",  "damaged"};
static_assert(static_cast<std::size_t>(PreferencesTrouble::Kind::damaged) + 1 ==
              troubleKinds.size());

Value bundle(const MainBundle &bundle) {
    const Value version = bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    return reportOf({{"identifier", unlessEmpty(bundle.bundleIdentifier().value_or(""))},
                     {"version", version.asString() ? version : Value()}});
}

Value ingest(const ConfiguredIngestAddress &configured) {
    return reportOf({{"address", configured.text},
                     {"builtIn", configured.isBuiltIn},
                     {"placeholder", configured.isPlaceholder()},
                     {"refusal", configured.refusal}});
}

/// Over which identifier the events' own are made, and what decides it.
Value identifier() {
    const std::string version = VMRSystemInfosFetcher::systemVersion();
    const bool isLater = platform().currentDevice->isSystemVersionAtLeast(14, 0);
    const AdvertisingIdentity &identity = *platform().advertisingIdentity;
    const std::string reason =
        isLater ? formatText("the system version %@ is 14 or later: tracking_status counts, it is "
                             "%lu, and 3 allows tracking",
                             version, identity.trackingAuthorizationStatus())
                : formatText("the system version %@ is below 14: legacy_tracking counts, it is "
                             "%lu, and 1 allows tracking",
                             version, identity.isAdvertisingTrackingEnabled() ? 1UL : 0UL);
    return reportOf(
        {{"used", VMRSystemInfosFetcher::isAdTrackingEnabled() ? "advertising" : "installation"},
         {"reason", reason}});
}

Value consents() {
    const auto manager = Velmora::sharedVelmora()->consentDataManager();
    return reportOf({{"keepUnsent", platform().keepUnsent},
                     {"removedUnsent", manager ? manager->removedUnsentCount() : 0}});
}

Value interception(const InterceptionGuard::Decision &decision) {
    return reportOf({{"allowed", decision.allowed}, {"reason", unlessEmpty(decision.reason)}});
}

Value store(const LinuxPlatform &platform) {
    const PreferencesInspection found = platform.preferencesFile->inspect();
    return reportOf(
        {{"path", unlessEmpty(found.path)},
         {"exists", found.exists},
         {"formatVersion", found.formatVersion},
         {"troubleKind", unlessEmpty(troubleKinds[static_cast<std::size_t>(found.trouble.kind)])},
         {"trouble", unlessEmpty(found.trouble.text)},
         {"worker", found.worker}});
}

Value requests(const std::optional<ExchangeReport> &last) {
    if (!last)
        return Value::null();
    return reportOf(
        {{"date", last->ended},
         {"status", last->status},
         {"error", last->error ? std::optional(last->error->description()) : std::nullopt}});
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_diagnose_json(char **json) {
    return answer(json, "json", [] {
        const LinuxPlatform &platform = Host::shared().platform();
        const ConfiguredIngestAddress address = configuredIngestAddress();
        const auto decision = platform.services.interceptionGuard->decide(address.text);
        const EpollRunLoop::State loop = platform.runLoops->main().state();
        const bool canDeliver = decision.allowed && !address.refusal && !address.isPlaceholder();
        return copyOut(
            writeTaggedJSON(reportOf({{"bundle", bundle(*platform.services.mainBundle)},
                                      {"consents", consents()},
                                      {"identifier", identifier()},
                                      {"ingest", ingest(address)},
                                      {"interception", interception(decision)},
                                      {"lastRequest", requests(lastExchange())},
                                      {"mainLoop", mainLoopDiagnosis(platform, loop)},
                                      {"pending", pendingDiagnosis(platform, loop, canDeliver)},
                                      {"store", store(platform)}})));
    });
}
