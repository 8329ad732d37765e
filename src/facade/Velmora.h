#pragma once

#include "network/VMRNetworkManager.h"
#include "platform/NotificationCenter.h"
#include "platform/Preferences.h"
#include "platform/Property.h"
#include "platform/Semaphore.h"
#include "platform/SerialQueue.h"
#include "platform/Value.h"

#include <cstdint>
#include <functional>
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
    using DateProvider = std::function<Date()>;

    Velmora() = default;
    ~Velmora() override;

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

    // Written while the SDK is configured and read from every thread.
    VMR_PROPERTY(std::shared_ptr<VMRDeviceDataManager>, deviceDataManager, setDeviceDataManager);
    VMR_PROPERTY(std::shared_ptr<VMRConsentDataManager>, consentDataManager, setConsentDataManager);
    /// Empty: nothing in this version fills it.
    VMR_PROPERTY(std::shared_ptr<VMRErrorManager>, logManager, setLogManager);
    VMR_PROPERTY(DateProvider, actualDateProvider, setActualDateProvider);
    VMR_PROPERTY(std::shared_ptr<VMRNetworkManager>, networkManager, setNetworkManager);
    /// A slot for a pending debounced invocation; unused.
    VMR_PROPERTY(std::shared_ptr<Invocation>, consentsDateRequestInvocation,
                 setConsentsDateRequestInvocation);

private:
    struct QueuedJob;
    using Job = void (Velmora::*)(const std::shared_ptr<QueuedJob> &queued);
    void queueJob(Job job, bool isOfMainThread);
    void updateDevice(const std::shared_ptr<QueuedJob> &queued);
    void postConsents(const std::shared_ptr<QueuedJob> &queued);
    void postErrors(const std::shared_ptr<QueuedJob> &queued);
    void removeObservers();
    void handleDeviceFailure(std::int64_t code, const std::shared_ptr<VMRError> &error);
    void storeError(const std::shared_ptr<VMRError> &error);
    void logPublicStatus();
    Date now() const;

    Locked<std::shared_ptr<Semaphore>> vmrSema_;
    Locked<std::shared_ptr<SerialQueue>> vmrDispatchQueue_;
    std::uint64_t bgTask_ = 0;
};

} // namespace vmr
