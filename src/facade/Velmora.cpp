#include "facade/Velmora.h"

#include "consent/VMRConsentDataManager.h"
#include "device/Keys.h"
#include "device/VMRDeviceDataManager.h"
#include "facade/Debounce.h"
#include "facade/VMRDebugLog.h"
#include "platform/Clock.h"
#include "platform/Erasures.h"
#include "platform/Platform.h"
#include "platform/RunLoop.h"

#include <utility>

namespace vmr {
namespace {

constexpr double consentsPostDelay = 1.0;
constexpr std::string_view consentsPost = "performConsentDataPostRequest";

bool isConsentStringKey(const std::string &keyPath) {
    return keyPath == TCFv1ConsentStringKey || keyPath == TCFv2ConsentStringKey;
}

} // namespace

const std::shared_ptr<Velmora> &Velmora::sharedVelmora() {
    static const auto &shared = *new std::shared_ptr<Velmora>(std::make_shared<Velmora>());
    return shared;
}

void Velmora::initWithApiKey(const std::optional<std::string> &apiKey, const Secret &secret) {
    sharedVelmora()->configureWithApiKey(apiKey, secret);
}

void Velmora::configureWithApiKey(const std::optional<std::string> &apiKey, const Secret &secret) {
    const auto whole = platform().preferences->transaction();
    debugLog("Velmora configureWithApiKey:secret:andMode:");
    auto manager = std::make_shared<VMRNetworkManager>();
    setNetworkManager(manager);
    manager->setApiKey(apiKey, secret, shared_from_this());
    setActualDateProvider([] { return platform().clock->now(); });
    vmrSema_.set(std::make_shared<Semaphore>(1));
    vmrDispatchQueue_.set(platform().serialQueues->make("com.storage.thread_lock"));
    addObservers();
    setDeviceDataManager(std::make_shared<VMRDeviceDataManager>());
    setConsentDataManager(std::make_shared<VMRConsentDataManager>());
    consentDataManager()->checkAndStoreTCStringsIfChanged();
    deviceDataManager()->deviceData()->setFirstLaunchDate(now());
}

void Velmora::addObservers() {
    debugLog("Velmora addObservers:");
    Preferences &preferences = *platform().preferences;
    const auto self = shared_from_this();
    preferences.addObserver(self, TCFv1ConsentStringKey, nullptr);
    preferences.addObserver(self, TCFv2ConsentStringKey, nullptr);
    platform().notificationCenter->addObserver(
        self, UIApplicationWillEnterForegroundNotification,
        [this](const Notification &notification) { applicationWillEnterForeground(notification); });
}

void Velmora::observeValueForKeyPath(const std::string &keyPath, const Preferences *object,
                                     const Dictionary &change, void *) {
    debugLog("Velmora observeValueForKeyPath: %@ object:%@", keyPath,
             object ? object->description() : std::string(FormatArgument::absent));
    if (object != platform().preferences || !isConsentStringKey(keyPath))
        return;
    debugLog("************ observeValueForKeyPath : %@", keyPath);
    storeEventWithConsentStringChange(change, consentDataManager());
    debounce(
        shared_from_this(), consentsPost, [this] { performConsentDataPostRequest(); },
        consentsPostDelay);
    if (const auto manager = consentDataManager())
        manager->setSavedConsentStringForKey(keyPath);
}

void Velmora::storeEventWithConsentStringChange(
    const Dictionary &change, const std::shared_ptr<VMRConsentDataManager> &dataManager) {
    const Value newValue = valueForKey(change, NSKeyValueChangeNewKey);
    const Value oldValue = valueForKey(change, NSKeyValueChangeOldKey);
    debugLog("************ observeValueForKeyPath -> new value : %@ -> old value : %@", newValue,
             oldValue);
    if (!newValue.isIdenticalTo(oldValue) && dataManager)
        dataManager->storeConsentStringEvent(newValue);
}

void Velmora::applicationWillEnterForeground(const Notification &) {
    debugLog("Velmora applicationWillEnterForeground:");
    const auto whole = platform().preferences->transaction();
    if (const auto manager = deviceDataManager()) {
        const auto record = manager->deviceData();
        // Unsigned, because a stored counter may be any number.
        const auto launches = static_cast<std::uint64_t>(record->nbLaunchesSinceBeginning());
        record->setNbLaunchesSinceBeginning(static_cast<std::int64_t>(launches + 1));
        record->saveData();
    }
    performConsentDataPostRequest();
    performErrorsPostRequest();
}

void Velmora::applicationDidBecomeActive(const Notification &) {
    debugLog("Velmora applicationDidBecomeActive:");
}

void Velmora::applicationDidEnterBackground(const Notification &) {
    debugLog("Velmora applicationDidEnterBackground:");
}

Date Velmora::now() const {
    return actualDateProvider()();
}

void Velmora::stop() {
    ++erasures;
    removeObservers();
    platform().runLoops->current().cancelPreviousPerformRequests({this, consentsPost, Value()});
    setConsentDataManager(nullptr);
    setDeviceDataManager(nullptr);
    setNetworkManager(nullptr);
}

/// Each start call has added its own.
void Velmora::removeObservers() {
    platform().notificationCenter->removeObserver(this);
    for (const std::string_view key : {TCFv1ConsentStringKey, TCFv2ConsentStringKey}) {
        try {
            for (;;)
                platform().preferences->removeObserver(this, key);
        } catch (const ObserverNotRegistered &) { // that was the last one
        }
    }
}

Velmora::~Velmora() {
    debugLog("Velmora dealloc:");
    platform().notificationCenter->removeObserver(this);
    try {
        platform().preferences->removeObserver(this, TCFv1ConsentStringKey);
        platform().preferences->removeObserver(this, TCFv2ConsentStringKey);
    } catch (const ObserverNotRegistered &) {
        // Never configured: there is nothing to remove.
    }
}

} // namespace vmr
