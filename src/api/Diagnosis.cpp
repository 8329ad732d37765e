#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
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
#include "platform/linux/loops/EpollRunLoop.h"
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
    // A refused one may hold a password; the refusal shows it without.
    return reportOf(
        {{"address", configured.refusal ? std::nullopt : std::optional(configured.text)},
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

Value requests(const std::shared_ptr<const ExchangeReport> &last) {
    if (!last)
        return Value::null();
    return reportOf(
        {{"date", last->ended},
         {"status", last->status},
         {"error", last->error ? std::optional(last->error->description()) : std::nullopt}});
}

/// A loop that has not run for so long when something was due is not run.
constexpr double late = -1;

/// Nothing where nothing waits.
std::optional<std::string_view> whatWaitsFor(const LinuxPlatform &platform,
                                             const EpollRunLoop::State &loop, bool canDeliver) {
    if (!Host::isStarted())
        return "the start call has not been made";
    const auto consents = Velmora::sharedVelmora()->consentDataManager();
    if (!consents)
        return "another process is in charge of the store";
    if (consents->storedConsentEventCount() == 0)
        return std::nullopt;
    if (!canDeliver)
        return "nothing can be delivered: see \"ingest\" and \"interception\"";
    if (loop.secondsUntilDue.value_or(0) < late)
        return "the main run loop is not run: call velmora_run_loop_process when its descriptor "
               "is readable";
    if (!platform.activity->isIdle() || loop.queued > 0)
        return "a job is under way";
    if (loop.delayedCalls > 0)
        return "the post is due in a moment: see \"mainLoop\"";
    const auto last = lastExchange().get();
    return last && !last->delivered
               ? "the last request failed: see \"lastRequest\"; the next change on the main run "
                 "loop's thread or return to the foreground sends"
               : "nothing has asked for a post since: the next change on the main run loop's "
                 "thread or return to the foreground sends, where the intervals of the "
                 "configuration allow it";
}

Value mainLoop(const LinuxPlatform &platform, const EpollRunLoop::State &state) {
    const pid_t thread = platform.runLoops->mainThread();
    return reportOf({{"thread", thread != 0 ? std::optional(thread) : std::nullopt},
                     {"secondsSinceProcessed", state.secondsSinceProcessed},
                     {"queued", state.queued},
                     {"secondsUntilDue", state.secondsUntilDue}});
}

Value pending(const LinuxPlatform &platform, const EpollRunLoop::State &state, bool canDeliver) {
    return reportOf({{"jobs", platform.activity->count()},
                     {"delayedCalls", state.delayedCalls},
                     {"reason", whatWaitsFor(platform, state, canDeliver)}});
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
        return copyOut(writeTaggedJSON(reportOf({{"bundle", bundle(*platform.services.mainBundle)},
                                                 {"consents", consents()},
                                                 {"identifier", identifier()},
                                                 {"ingest", ingest(address)},
                                                 {"interception", interception(decision)},
                                                 {"lastRequest", requests(lastExchange().get())},
                                                 {"mainLoop", mainLoop(platform, loop)},
                                                 {"pending", pending(platform, loop, canDeliver)},
                                                 {"store", store(platform)}})));
    });
}
