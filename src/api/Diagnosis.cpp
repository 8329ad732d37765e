#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/PendingDiagnosis.h"
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

Value textOrNull(const std::string &text) {
    return text.empty() ? Value::null() : Value::string(text);
}

/// In the order of PreferencesTrouble::Kind.
constexpr std::array<const char *, 6> troubleKinds = {"",       "refused", "locked",
                                                      "failed", "failed",  "damaged"};

Value bundle(const MainBundle &bundle) {
    const Value version = bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    return Value::dictionary(
        dictionaryOf({{"identifier", textOrNull(bundle.bundleIdentifier().value_or(""))},
                      {"version", version.asString() ? version : Value::null()}}));
}

Value ingest(const ConfiguredIngestAddress &configured) {
    return Value::dictionary(
        dictionaryOf({{"address", Value::string(configured.text)},
                      {"builtIn", Value::boolean(configured.isBuiltIn)},
                      {"placeholder", Value::boolean(configured.isPlaceholder())},
                      {"refusal", textOrNull(configured.refusal.value_or(""))}}));
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
    return Value::dictionary(dictionaryOf(
        {{"used", Value::string(VMRSystemInfosFetcher::isAdTrackingEnabled() ? "advertising"
                                                                             : "installation")},
         {"reason", Value::string(reason)}}));
}

Value consents() {
    const auto manager = Velmora::sharedVelmora()->consentDataManager();
    const std::uint64_t removed = manager ? manager->removedUnsentCount() : 0;
    return Value::dictionary(
        dictionaryOf({{"keepUnsent", Value::boolean(platform().keepUnsent)},
                      {"removedUnsent", Value::integer(static_cast<std::int64_t>(removed))}}));
}

Value interception(const InterceptionGuard::Decision &decision) {
    return Value::dictionary(dictionaryOf(
        {{"allowed", Value::boolean(decision.allowed)}, {"reason", textOrNull(decision.reason)}}));
}

Value store(const LinuxPlatform &platform) {
    const PreferencesInspection found = platform.preferencesFile->inspect();
    const char *const kind = troubleKinds[static_cast<std::size_t>(found.trouble.kind)];
    return Value::dictionary(
        dictionaryOf({{"path", textOrNull(found.path)},
                      {"exists", Value::boolean(found.exists)},
                      {"formatVersion",
                       found.formatVersion ? Value::integer(*found.formatVersion) : Value::null()},
                      {"troubleKind", textOrNull(kind)},
                      {"trouble", textOrNull(found.trouble.text)},
                      {"worker", found.worker ? Value::integer(*found.worker) : Value::null()}}));
}

Value requests(const std::optional<ExchangeReport> &last) {
    if (!last)
        return Value::null();
    return Value::dictionary(dictionaryOf(
        {{"date", Value::real(last->ended.secondsSince1970)},
         {"status", last->status ? Value::integer(*last->status) : Value::null()},
         {"error", last->error ? Value::string(last->error->description()) : Value::null()}}));
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
        return copyOut(writeTaggedJSON(Value::dictionary(
            dictionaryOf({{"bundle", bundle(*platform.services.mainBundle)},
                          {"consents", consents()},
                          {"identifier", identifier()},
                          {"ingest", ingest(address)},
                          {"interception", interception(decision)},
                          {"lastRequest", requests(lastExchange())},
                          {"mainLoop", mainLoopDiagnosis(platform, loop)},
                          {"pending", pendingDiagnosis(platform, loop, canDeliver)},
                          {"store", store(platform)}}))));
    });
}
