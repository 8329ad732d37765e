#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "facade/VMRPublicLogHelper.h"
#include "facade/Velmora.h"
#include "platform/Erasures.h"
#include "platform/Format.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/RunLoop.h"
#include "platform/RunThen.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <utility>

namespace vmr {

/// A job on its way, and the lock that it waits for.
struct Velmora::QueuedJob {
    std::shared_ptr<Velmora> self;
    Job job = nullptr;
    bool isOfMainThread = false;
    // The lock that was waited for is the one that is released, even if another start call has
    // replaced it meanwhile.
    std::shared_ptr<Semaphore> semaphore;
    std::shared_ptr<VMRErrorManager> errors;
    std::uint64_t begun = erasures;
    std::atomic_flag isReleased;

    /// Once, however often it is called.
    void unlock() {
        if (!isReleased.test_and_set())
            semaphore->signal();
    }
    /// Nobody may be left to release the lock of work that ended with an exception. What it threw
    /// is told by the queue that runs it.
    template <class Work>
    void attempt(const Work &work) {
        try {
            work();
        } catch (...) {
            unlock();
            throw;
        }
    }
    template <class Work>
    void finish(const Work &work) {
        runThen(work, [this] { unlock(); });
    }
    static void run(const std::shared_ptr<QueuedJob> &queued) {
        queued->attempt([&] {
            // What is asked for before everything is erased is not done afterwards.
            if (queued->begun != erasures)
                return queued->unlock();
            (queued->self.get()->*queued->job)(queued);
        });
    }
};

void Velmora::queueJob(Job job, bool isOfMainThread) {
    const auto queued = std::make_shared<QueuedJob>();
    queued->self = shared_from_this();
    queued->job = job;
    queued->isOfMainThread = isOfMainThread;
    queued->semaphore = vmrSema_.get();
    const auto queue = vmrDispatchQueue_.get();
    if (!queued->semaphore || !queue)
        return;
    queue->async([queued] {
        queued->semaphore->wait();
        if (!queued->isOfMainThread)
            return QueuedJob::run(queued);
        queued->attempt(
            [&] { platform().runLoops->mainQueue().async([queued] { QueuedJob::run(queued); }); });
    });
}

void Velmora::performDeviceDataUpdateRequest() {
    debugLog("Velmora perform Device Data Update Request");
    queueJob(&Velmora::updateDevice, true);
}

void Velmora::updateDevice(const std::shared_ptr<QueuedJob> &queued) {
    const auto device = deviceDataManager();
    if (!device)
        return queued->unlock();
    std::vector<std::string> ids;
    ids.push_back(formatText("%@", device->VMRId()));
    const Dictionary params = device->postDeviceParams();
    if (!device->shouldPostDeviceWithParameters(params, now())) {
        if (!device->isNewDevice())
            logPublicStatus();
        return queued->unlock();
    }
    networkManager()->requestWithType(
        VMRHttpRequestTypeDevices, params, ids,
        [queued](const Value &) {
            queued->finish([] { debugLog("-> success %d /devices", VMRHttpRequestTypeDevices); });
        },
        [queued](std::int64_t code, const std::shared_ptr<VMRError> &error) {
            queued->finish([&] { queued->self->handleDeviceFailure(code, error); });
        });
}

void Velmora::handleDeviceFailure(std::int64_t code, const std::shared_ptr<VMRError> &error) {
    const auto whole = platform().preferences->transaction();
    debugLog("-> error %d /devices. code %ld, %@", VMRHttpRequestTypeDevices, code,
             storedJSON(logManager(), error));
    if (const auto device = deviceDataManager())
        device->setLastPostDeviceAttemptDate(now());
    logPublicStatus();
}

void Velmora::onDeviceDataUpdateRequestResponse(const Value &response,
                                                const Dictionary &parameters) {
    const auto whole = platform().preferences->transaction();
    const Value body = response.asDictionary() ? response : Value();
    debugLog("************** on DeviceData UpdateRequest Response: *************");
    debugLog("%@", body);
    const auto device = deviceDataManager();
    if (!device)
        return;
    const auto record = device->deviceData();
    // A response cannot switch the SDK off: "enabled" counts as true whatever it holds.
    record->setIsSdkEnabled(true);
    record->setLastUpdateDeviceParametersSent(Value::dictionary(parameters));
    VMRConfigManager::setSavedConfiguration(
        body.isAbsent() ? Value() : valueForKey(*body.asDictionary(), "config"));
    device->setLastGetDeviceDate(now());
    if (device->isNewDevice()) {
        device->saveVMRId();
        device->setIsNewDevice(false);
        debugLog("-> created device with idfa: %@", VMRSystemInfosFetcher::idfa());
    }
    record->saveData();
    logPublicStatus();
}

void Velmora::networkManager(VMRNetworkManager &, std::int64_t receivedStatusCode) {
    if (receivedStatusCode == 401)
        platform().systemLog->write(
            "[VMRLocusKit] Warning! Failed to connect to server - Incorrect key", LogLevel::error);
}

void Velmora::performConsentDataPostRequest() {
    debugLog("Velmora performConsentDataRequest");
    queueJob(&Velmora::postConsents, true);
}

void Velmora::postConsents(const std::shared_ptr<QueuedJob> &queued) {
    const auto consents = consentDataManager();
    if (!consents)
        return queued->unlock();
    consents->postDataWithManager(networkManager(), deviceDataManager(), logManager(), now(),
                                  [queued] { queued->unlock(); });
}

void Velmora::performErrorsPostRequest() {
    queueJob(&Velmora::postErrors, false);
}

void Velmora::postErrors(const std::shared_ptr<QueuedJob> &queued) {
    const auto errors = queued->errors = logManager();
    const bool shouldPost = errors && errors->shouldPostLogs();
    const bool hasEntries = errors && !errors->storedLogs().empty();
    if (!(shouldPost && hasEntries))
        return queued->unlock();
    List batch;
    for (const auto &entry : errors->storedLogs())
        batch.push_back(Value::dictionary(entry->asJson()));
    networkManager()->postDatas(
        Value::list(std::move(batch)), VMRIngestTypeDevicesErrors,
        deviceDataManager()->postErrorsParametersForDate(now()),
        [queued](const Value &response) {
            queued->finish([&] {
                const auto whole = platform().preferences->transaction();
                debugLog("-> Data Stream API success send logs %@", response);
                queued->errors->setStoredLogs({});
                queued->errors->saveLogsArray();
                queued->errors->setLastPostLogsDate(queued->self->now());
            });
        },
        [queued](std::int64_t, const std::shared_ptr<VMRError> &error) {
            queued->finish([&] {
                debugLog("-> Data Stream API error send logs %@",
                         storedJSON(queued->self->logManager(), error));
            });
        });
    errors->setLastPostLogsAttemptDate(now());
}

void Velmora::logPublicStatus() {
    VMRPublicLogHelper::logPublicManagerStatusWithDeviceDataManager(deviceDataManager(), now());
}

} // namespace vmr
