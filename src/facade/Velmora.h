#pragma once

#include "network/VMRNetworkManager.h"
#include "platform/Locked.h"
#include "platform/NotificationCenter.h"
#include "platform/Preferences.h"
#include "platform/Semaphore.h"
#include "platform/SerialQueue.h"
#include "platform/Value.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vmr {

class Invocation;
class VMRConsentDataManager;
class VMRDeviceDataManager;
class VMRErrorManager;

/// The SDK itself: one instance for the life of the process. It owns the managers, reacts to
/// changes of the consent strings, to returns to the foreground and to HTTP status codes, and runs
/// one exchange with the backend at a time. The start call belongs on the main thread; everything
/// else may come from any thread. Before the start call nothing has an effect.
class Velmora final : public std::enable_shared_from_this<Velmora>,
                      public VMRNetworkManagerDelegate,
                      public KeyValueObserver {
public:
    using DateProvider = Date (*)();

    Velmora() = default;
    ~Velmora();

    static const std::shared_ptr<Velmora> &sharedVelmora();
    /// The start call.
    static void initWithApiKey(const std::optional<std::string> &apiKey, const Secret &secret);

    /// Builds the managers and adds the observers. A second call does all of it again.
    void configureWithApiKey(const std::optional<std::string> &apiKey, const Secret &secret);
    void addObservers();
    /// The reverse of all such calls: from now on nothing is stored or sent. On the main thread.
    void stop();

    void observeValueForKeyPath(const std::string &keyPath, const Preferences *object,
                                const Dictionary &change, void *context) override;
    /// Stores an event unless new and old are the same object; equal texts in two objects are two.
    void
    storeEventWithConsentStringChange(const Dictionary &change,
                                      const std::shared_ptr<VMRConsentDataManager> &dataManager);
    void applicationWillEnterForeground(const Notification &notification);
    void applicationDidBecomeActive(const Notification &notification);
    void applicationDidEnterBackground(const Notification &notification);

    /// The three jobs: each is queued, waits until the job before it has been answered, and does
    /// its work. Return at once.
    void performDeviceDataUpdateRequest();
    void performConsentDataPostRequest();
    void performErrorsPostRequest();
    /// Handles a device response body. The record is enabled whatever the response says.
    void onDeviceDataUpdateRequestResponse(const Value &response, const Dictionary &parameters);
    void networkManager(VMRNetworkManager &manager, std::int64_t receivedStatusCode) override;

    std::shared_ptr<VMRDeviceDataManager> deviceDataManager() const {
        return deviceDataManager_.get();
    }
    void setDeviceDataManager(std::shared_ptr<VMRDeviceDataManager> manager) {
        deviceDataManager_.set(std::move(manager));
    }
    std::shared_ptr<VMRConsentDataManager> consentDataManager() const {
        return consentDataManager_.get();
    }
    void setConsentDataManager(std::shared_ptr<VMRConsentDataManager> manager) {
        consentDataManager_.set(std::move(manager));
    }
    /// Empty: nothing in this version fills it.
    std::shared_ptr<VMRErrorManager> logManager() const { return logManager_.get(); }
    void setLogManager(std::shared_ptr<VMRErrorManager> manager) {
        logManager_.set(std::move(manager));
    }
    DateProvider actualDateProvider() const { return actualDateProvider_; }
    void setActualDateProvider(DateProvider provider) { actualDateProvider_ = provider; }
    std::shared_ptr<VMRNetworkManager> networkManager() const { return networkManager_.get(); }
    void setNetworkManager(std::shared_ptr<VMRNetworkManager> manager) {
        networkManager_.set(std::move(manager));
    }
    /// A slot for a pending debounced invocation; unused.
    std::shared_ptr<Invocation> consentsDateRequestInvocation() const {
        return consentsDateRequestInvocation_.get();
    }
    void setConsentsDateRequestInvocation(std::shared_ptr<Invocation> invocation) {
        consentsDateRequestInvocation_.set(std::move(invocation));
    }

private:
    struct QueuedJob;
    using Job = void (Velmora::*)(const std::shared_ptr<QueuedJob> &queued);
    void queueJob(Job job, bool isOfMainThread);
    void updateDevice(const std::shared_ptr<QueuedJob> &queued);
    void postConsents(const std::shared_ptr<QueuedJob> &queued);
    void postErrors(const std::shared_ptr<QueuedJob> &queued);
    void removeObservers();
    void handleDeviceFailure(std::int64_t code, const std::shared_ptr<VMRError> &error);
    void logPublicStatus();
    Date now() const;

    // The properties are written while the SDK is configured and read from every thread.
    Locked<std::shared_ptr<Semaphore>> vmrSema_;
    Locked<std::shared_ptr<SerialQueue>> vmrDispatchQueue_;
    std::uint64_t bgTask_ = 0;
    Locked<std::shared_ptr<VMRDeviceDataManager>> deviceDataManager_;
    Locked<std::shared_ptr<VMRConsentDataManager>> consentDataManager_;
    Locked<std::shared_ptr<VMRErrorManager>> logManager_;
    std::atomic<DateProvider> actualDateProvider_{nullptr};
    Locked<std::shared_ptr<VMRNetworkManager>> networkManager_;
    Locked<std::shared_ptr<Invocation>> consentsDateRequestInvocation_;
};

} // namespace vmr
