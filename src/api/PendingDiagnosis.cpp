#include "api/PendingDiagnosis.h"

#include "api/Host.h"
#include "api/Report.h"
#include "consent/VMRConsentDataManager.h"
#include "facade/Velmora.h"
#include "network/ExchangeReport.h"
#include "platform/linux/loops/LinuxRunLoops.h"

namespace vmr::api {
namespace {

/// A loop that has not run for so long when something was due is not run.
constexpr double late = -1;

/// Nothing where nothing waits.
std::optional<std::string_view> reason(const LinuxPlatform &platform,
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
    const auto last = lastExchange();
    return last && !last->delivered
               ? "the last request failed: see \"lastRequest\"; the next change on the main run "
                 "loop's thread or return to the foreground sends"
               : "nothing has asked for a post since: the next change on the main run loop's "
                 "thread or return to the foreground sends, where the intervals of the "
                 "configuration allow it";
}

} // namespace

Value mainLoopDiagnosis(const LinuxPlatform &platform, const EpollRunLoop::State &state) {
    const pid_t thread = platform.runLoops->mainThread();
    return reportOf({{"thread", thread != 0 ? std::optional(thread) : std::nullopt},
                     {"secondsSinceProcessed", state.secondsSinceProcessed},
                     {"queued", state.queued},
                     {"secondsUntilDue", state.secondsUntilDue}});
}

Value pendingDiagnosis(const LinuxPlatform &platform, const EpollRunLoop::State &state,
                       bool canDeliver) {
    return reportOf({{"jobs", platform.activity->count()},
                     {"delayedCalls", state.delayedCalls},
                     {"reason", reason(platform, state, canDeliver)}});
}

} // namespace vmr::api
