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

/// What decides over which identifier the events' own are made.
std::string reasonOfIdentifier() {
    const std::string version = VMRSystemInfosFetcher::systemVersion();
    const AdvertisingIdentity &identity = *platform().advertisingIdentity;
    if (platform().currentDevice->isSystemVersionAtLeast(14, 0))
        return formatText("the system version %@ is 14 or later: tracking_status counts, it is "
                          "%lu, and 3 allows tracking",
                          version, identity.trackingAuthorizationStatus());
    return formatText("the system version %@ is below 14: legacy_tracking counts, it is %lu, and 1 "
                      "allows tracking",
                      version, identity.isAdvertisingTrackingEnabled() ? 1UL : 0UL);
}

Value lastRequest(const std::shared_ptr<const ExchangeReport> &last) {
    if (!last)
        return Value();
    return Value::dictionary(dictionaryOf(
        {{"date", Reported(last->ended).value()},
         {"status", Reported(last->status).value()},
         {"error", last->error ? Value::string(last->error->description()) : Value()}}));
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
        return "another process is in charge of the store or holds its file: see \"store\"";
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

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_diagnose_json(char **json) {
    return answer(json, "json", [] {
        const LinuxPlatform &platform = Host::shared().platform();
        const MainBundle &bundle = *platform.services.mainBundle;
        const Value version = bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
        const auto consents = Velmora::sharedVelmora()->consentDataManager();
        const ConfiguredIngestAddress address = configuredIngestAddress();
        const auto decision = platform.services.interceptionGuard->decide(address.text);
        const EpollRunLoop::State loop = platform.runLoops->main().state();
        const pid_t thread = platform.runLoops->mainThread();
        const bool canDeliver = decision.allowed && !address.refusal && !address.isPlaceholder();
        const PreferencesInspection store = platform.preferencesFile->inspect();
        const char *trouble = troubleKinds[static_cast<std::size_t>(store.trouble.kind)];
        return copyOut(reportOf(
            R"({"bundle":{"identifier":@,"version":@},"consents":{"keepUnsent":@,)"
            R"("removedUnsent":@},"identifier":{"reason":@,"used":@},"ingest":{"address":@,)"
            R"("builtIn":@,"placeholder":@,"refusal":@},"interception":{"allowed":@,"reason":@},)"
            R"("lastRequest":@,"mainLoop":{"queued":@,"secondsSinceProcessed":@,)"
            R"("secondsUntilDue":@,"thread":@},"pending":{"delayedCalls":@,"jobs":@,"reason":@},)"
            R"("store":{"exists":@,"formatVersion":@,"path":@,"trouble":@,"troubleKind":@,)"
            R"("worker":@}})",
            {unlessEmpty(bundle.bundleIdentifier().value_or("")),
             version.asString() ? version : Value(), platform.services.keepUnsent,
             consents ? consents->removedUnsentCount() : 0, reasonOfIdentifier(),
             VMRSystemInfosFetcher::isAdTrackingEnabled() ? "advertising" : "installation",
             // A refused one may hold a password; the refusal shows it without.
             address.refusal ? std::nullopt : std::optional<std::string_view>(address.text),
             address.isBuiltIn, address.isPlaceholder(), address.refusal, decision.allowed,
             unlessEmpty(decision.reason), lastRequest(lastExchange().get()), loop.queued,
             loop.secondsSinceProcessed, loop.secondsUntilDue,
             thread != 0 ? std::optional(thread) : std::nullopt, loop.delayedCalls,
             platform.activity->count(), whatWaitsFor(platform, loop, canDeliver), store.exists,
             store.formatVersion, unlessEmpty(store.path), unlessEmpty(store.trouble.text),
             unlessEmpty(trouble), store.worker}));
    });
}
