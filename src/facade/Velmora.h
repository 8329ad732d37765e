#pragma once

#include "network/VMRNetworkManager.h"
#include "platform/Mutex.h"
#include "platform/NotificationCenter.h"
#include "platform/Preferences.h"
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
    Velmora(const Velmora &) = delete;
    Velmora &operator=(const Velmora &) = delete;

    static std::shared_ptr<Velmora> sharedVelmora();
    /// The start call.
    static void initWithApiKey(std::optional<std::string> apiKey,
                               std::optional<std::string> secret);

    /// Builds the managers and adds the observers. A second call does all of it again.
    void configureWithApiKey(std::optional<std::string> apiKey, std::optional<std::string> secret);
    void addObservers();

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

    std::shared_ptr<VMRDeviceDataManager> deviceDataManager() const;
    void setDeviceDataManager(std::shared_ptr<VMRDeviceDataManager> manager);
    std::shared_ptr<VMRConsentDataManager> consentDataManager() const;
    void setConsentDataManager(std::shared_ptr<VMRConsentDataManager> manager);
    /// Empty: nothing in this version fills it.
    std::shared_ptr<VMRErrorManager> logManager() const;
    void setLogManager(std::shared_ptr<VMRErrorManager> manager);
    DateProvider actualDateProvider() const;
    void setActualDateProvider(DateProvider provider);
    std::shared_ptr<VMRNetworkManager> networkManager() const;
    void setNetworkManager(std::shared_ptr<VMRNetworkManager> manager);
    /// A slot for a pending debounced invocation; unused.
    std::shared_ptr<Invocation> consentsDateRequestInvocation() const;
    void setConsentsDateRequestInvocation(std::shared_ptr<Invocation> invocation);

private:
    /// Releases the lock that a job holds.
    using Unlock = std::function<void()>;
    void queueJob(std::function<void(const Unlock &)> work);
    void queueMainThreadJob(std::function<void(const Unlock &)> work);
    void updateDevice(const Unlock &unlock);
    void postConsents(const Unlock &unlock);
    void postErrors(const Unlock &unlock);
    void sendErrors(const std::shared_ptr<VMRErrorManager> &errors, const Unlock &unlock);
    void handleDeviceFailure(std::int64_t code, const std::shared_ptr<VMRError> &error);
    void storeError(const std::shared_ptr<VMRError> &error);
    void logPublicStatus();
    Date now() const;

    template <class Property>
    Property read(Property Velmora::*property) const {
        const MutexLock lock(mutex_);
        return this->*property;
    }
    template <class Property>
    void write(Property Velmora::*property, Property value) {
        const MutexLock lock(mutex_);
        (this->*property).swap(value);
    }

    // The properties are written while the SDK is configured and read from every thread.
    mutable Mutex mutex_;
    std::shared_ptr<Semaphore> vmrSema_ VMR_GUARDED_BY(mutex_);
    std::shared_ptr<SerialQueue> vmrDispatchQueue_ VMR_GUARDED_BY(mutex_);
    std::uint64_t bgTask_ VMR_GUARDED_BY(mutex_) = 0;
    std::shared_ptr<VMRDeviceDataManager> deviceDataManager_ VMR_GUARDED_BY(mutex_);
    std::shared_ptr<VMRConsentDataManager> consentDataManager_ VMR_GUARDED_BY(mutex_);
    std::shared_ptr<VMRErrorManager> logManager_ VMR_GUARDED_BY(mutex_);
    DateProvider actualDateProvider_ VMR_GUARDED_BY(mutex_);
    std::shared_ptr<VMRNetworkManager> networkManager_ VMR_GUARDED_BY(mutex_);
    std::shared_ptr<Invocation> consentsDateRequestInvocation_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
