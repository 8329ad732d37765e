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
namespace {

/// Releases a job's lock, once however often it is called.
std::function<void()> unlockOf(std::shared_ptr<Semaphore> semaphore) {
    return [semaphore = std::move(semaphore), released = std::make_shared<std::atomic_flag>()] {
        if (!released->test_and_set())
            semaphore->signal();
    };
}

/// Nobody may be left to release the lock of work that ended with an exception. What it threw is
/// told by the queue that runs it.
template <class Work>
void runUnlockingOnFailure(const Work &work, const std::function<void()> &unlock) {
    try {
        work();
    } catch (...) {
        unlock();
        throw;
    }
}

Value jsonOf(const std::shared_ptr<VMRError> &error) {
    return error ? Value::dictionary(error->asJson()) : Value();
}

} // namespace

void Velmora::queueJob(Job job, bool isOfMainThread) {
    // The lock that was waited for is the one that is released, even if another start call has
    // replaced it meanwhile.
    const auto semaphore = vmrSema_.get();
    const auto queue = vmrDispatchQueue_.get();
    if (!semaphore || !queue)
        return;
    const Unlock unlock = unlockOf(semaphore);
    std::function<void()> work = [self = shared_from_this(), job, unlock, begun = erasures.load()] {
        // What is asked for before everything is erased is not done afterwards.
        if (begun != erasures)
            return unlock();
        runUnlockingOnFailure([&] { (self.get()->*job)(unlock); }, unlock);
    };
    queue->async([semaphore, unlock, isOfMainThread, work = std::move(work)] {
        semaphore->wait();
        runUnlockingOnFailure(
            [&] { isOfMainThread ? platform().runLoops->mainQueue().async(work) : work(); },
            unlock);
    });
}

void Velmora::performDeviceDataUpdateRequest() {
    debugLog("Velmora perform Device Data Update Request");
    queueJob(&Velmora::updateDevice, true);
}

void Velmora::updateDevice(const Unlock &unlock) {
    const auto device = deviceDataManager();
    if (!device)
        return unlock();
    const std::vector<std::string> ids{formatText("%@", device->VMRId())};
    const Dictionary params = device->postDeviceParams();
    if (!device->shouldPostDeviceWithParameters(params, now())) {
        if (!device->isNewDevice())
            logPublicStatus();
        return unlock();
    }
    networkManager()->requestWithType(
        VMRHttpRequestTypeDevices, params, ids,
        [unlock](const Value &) {
            runThen([] { debugLog("-> success %d /devices", VMRHttpRequestTypeDevices); }, unlock);
        },
        [self = shared_from_this(), unlock](std::int64_t code,
                                            const std::shared_ptr<VMRError> &error) {
            runThen([&] { self->handleDeviceFailure(code, error); }, unlock);
        });
}

void Velmora::handleDeviceFailure(std::int64_t code, const std::shared_ptr<VMRError> &error) {
    storeError(error);
    debugLog("-> error %d /devices. code %ld, %@", VMRHttpRequestTypeDevices, code, jsonOf(error));
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

void Velmora::postConsents(const Unlock &unlock) {
    const auto consents = consentDataManager();
    if (!consents)
        return unlock();
    consents->postDataWithManager(networkManager(), deviceDataManager(), logManager(), now(),
                                  unlock);
}

void Velmora::performErrorsPostRequest() {
    queueJob(&Velmora::postErrors, false);
}

void Velmora::postErrors(const Unlock &unlock) {
    const auto errors = logManager();
    const bool shouldPost = errors && errors->shouldPostLogs();
    const bool hasEntries = errors && !errors->storedLogs().empty();
    if (!(shouldPost && hasEntries))
        return unlock();
    sendErrors(errors, unlock);
    errors->setLastPostLogsAttemptDate(now());
}

void Velmora::sendErrors(const std::shared_ptr<VMRErrorManager> &errors, const Unlock &unlock) {
    List batch;
    for (const auto &entry : errors->storedLogs())
        batch.push_back(Value::dictionary(entry->asJson()));
    networkManager()->postDatas(
        batch, VMRIngestTypeDevicesErrors, deviceDataManager()->postErrorsParametersForDate(now()),
        [self = shared_from_this(), errors, unlock](const Value &response) {
            const auto clear = [&] {
                const auto whole = platform().preferences->transaction();
                debugLog("-> Data Stream API success send logs %@", response);
                errors->setStoredLogs({});
                errors->saveLogsArray();
                errors->setLastPostLogsDate(self->now());
            };
            runThen(clear, unlock);
        },
        [self = shared_from_this(), unlock](std::int64_t, const std::shared_ptr<VMRError> &error) {
            const auto tell = [&] {
                self->storeError(error);
                debugLog("-> Data Stream API error send logs %@", jsonOf(error));
            };
            runThen(tell, unlock);
        });
}

void Velmora::storeError(const std::shared_ptr<VMRError> &error) {
    const auto errors = logManager();
    if (errors && error)
        errors->storeError(error);
}

void Velmora::logPublicStatus() {
    VMRPublicLogHelper::logPublicManagerStatusWithDeviceDataManager(deviceDataManager(), now());
}

} // namespace vmr
