#include "consent/VMRConsentDataManager.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRApiSerializableData.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "network/VMRNetworkManager.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/RunThen.h"

namespace vmr {

/// What the answer to a post is handled with.
struct VMRConsentDataManager::Run {
    std::shared_ptr<VMRConsentDataManager> self;
    std::shared_ptr<VMRErrorManager> errors;
    Date date;
    RecordList taken;
    std::size_t sent = 0; ///< the others cannot be
    Completion completion;
};

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

    const auto run = std::make_shared<Run>();
    run->self = shared_from_this();
    run->errors = errorManager;
    run->date = date;
    run->taken = events;
    run->sent = payload.serializedData().size();
    run->completion = std::move(completion);
    networkManager->postDatas(
        Value::list(payload.serializedData()), VMRIngestTypeConsents,
        deviceManager->postConsentsDataParametersAtDate(date),
        [run](const Value &response) {
            runThen([&] { run->self->handlePosted(response, *run); }, run->completion);
        },
        [run](std::int64_t, const std::shared_ptr<VMRError> &error) {
            const auto tell = [&] {
                debugLog("-> Data Stream API error send TCString %@",
                         storedJSON(run->errors, error));
            };
            runThen(tell, run->completion);
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
    const RecordList before = storedConsentEvents_.with([&](RecordList &events) {
        RecordList all = events;
        // Another run, of the start call before, may have removed some of them already.
        removed = platform().keepUnsent ? all.restOf(run.taken).kept : all.size();
        events.dropFirst(removed);
        return all;
    });
    removedUnsent_ += removed > run.sent ? removed - run.sent : 0;
    saveConsentEventsArray();
    setLastSendConsentDatasDate(run.date);
}

} // namespace vmr
