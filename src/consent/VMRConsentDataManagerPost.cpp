#include "consent/VMRConsentDataManager.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRApiSerializableData.h"
#include "errors/VMRErrorManager.h"
#include "facade/Keys.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "network/VMRNetworkManager.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/RunThen.h"

namespace vmr {

bool VMRConsentDataManager::shouldPostConsentEventDatas() const {
    const Date now = platform().clock->now();
    const auto send = VMRConfigManager::paceSince(lastSendConsentDatasDate(),
                                                  VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL, now);
    const auto attempt = VMRConfigManager::paceSince(
        lastSendConsentDatasAttemptDate(), VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL, now);

    debugLog("************** Should post consent datas ******************");
    debugLog("   - last send logs date    : %@ - (%ld / %ld)", send.date, send.elapsed,
             send.interval);
    debugLog("   - last send logs attempt : %@ - (%ld / %ld)", attempt.date, attempt.elapsed,
             attempt.interval);
    const bool elapsed = send.isDue() && attempt.isDue();
    // A clock that was set back must not hold the events back for as long.
    const bool clockWentBack = send.elapsed < 0 || attempt.elapsed < 0;
    debugLog("   - So? Should post ?           -> %d", elapsed ? 1 : 0);
    return elapsed || clockWentBack;
}

bool VMRConsentDataManager::shouldPostData() const {
    const bool hasEvents = storedConsentEventCount() > 0;
    const bool timing = shouldPostConsentEventDatas();
    const bool answer = timing && hasEvents;
    debugLog("   - hasConsentEventsToSend: %d", hasEvents ? 1 : 0);
    debugLog("- Should Post: %d", answer ? 1 : 0);
    return answer;
}

void VMRConsentDataManager::postDataWithManager(
    const std::shared_ptr<VMRNetworkManager> &networkManager,
    const std::shared_ptr<VMRDeviceDataManager> &deviceManager,
    const std::shared_ptr<VMRErrorManager> &errorManager, Date date, Completion completion) {
    if (!shouldPostData())
        return completion();

    const Events events = storedConsentEvents();
    const VMRApiSerializableData payload(
        VMRApiSerializableData::Items(events.begin(), events.end()),
        deviceManager->identifierForDataHashID());
    if (errorManager)
        errorManager->storeErrors(payload.serializationErrors());
    if (payload.serializedData().empty())
        return completion();

    networkManager->postDatas(
        payload.serializedData(), VMRIngestTypeConsents,
        deviceManager->postConsentsDataParametersAtDate(date),
        [self = shared_from_this(), run = Run{date, events, payload.serializedData().size()},
         completion](const Value &response) {
            runThen([&] { self->handlePosted(response, run); }, completion);
        },
        [errorManager, completion](std::int64_t, std::shared_ptr<VMRError> error) {
            const auto tell = [&] {
                if (errorManager && error)
                    errorManager->storeError(error);
                debugLog("-> Data Stream API error send TCString %@",
                         error ? Value::dictionary(error->asJson()) : Value());
            };
            runThen(tell, completion);
        });
    setLastSendConsentDatasAttemptDate(date);
}

void VMRConsentDataManager::handlePosted(const Value &response, const Run &run) {
    if (isRetired())
        return;
    const auto whole = platform().preferences->transaction();
    debugLog("-> Data Stream API success send TCString data -> response : %@", response);
    // Unless the host wants them kept, what was stored while the request was under way goes, too.
    std::size_t removed = 0;
    const Events before = storedConsentEvents_.with([&](Events &events) {
        Events all = events;
        // Another run, of the start call before, may have removed some of them already.
        removed = platform().keepUnsent ? all.list().restOf(run.taken.list()).kept : all.size();
        events.dropFirst(removed);
        return all;
    });
    removedUnsent_ += removed > run.sent ? removed - run.sent : 0;
    saveConsentEventsArray();
    setLastSendConsentDatasDate(run.date);
}

} // namespace vmr
