#include "Host.h"

#include "Measure.h"
#include "consent/VMRConsentDataManager.h"
#include "facade/Velmora.h"
#include "platform/linux/loops/LinuxRunLoops.h"

#include <cstdlib>

namespace bench {

Host::Host(const std::string &ingestAddress) {
    vmr::LinuxOptions options;
    options.storePath = folder_.file("preferences.sqlite");
    options.bundleIdentifier = "com.example.bench";
    options.informationDictionary =
        vmr::Dictionary{{"VMRIngestBaseAddress", vmr::Value::string(ingestAddress)}};
    options.logSink = [](std::string_view, vmr::LogLevel) {};
    platform = vmr::makeLinuxPlatform(options);
    platform.runLoops->adoptMainThread();
    vmr::Velmora::initWithApiKey("key", {"secret"});
    velmora = vmr::Velmora::sharedVelmora();
}

void Host::storeEvents(int count) const {
    vmr::VMRConsentDataManager::Events events;
    for (int number = 0; number < count; ++number) {
        auto event = std::make_shared<vmr::VMRConsentEvent>();
        event->setConsentString(vmr::Value::string(consentString(number)));
        event->setDate(vmr::Date{1700000000.0 + number});
        events.push_back(std::move(event));
    }
    velmora->consentDataManager()->setStoredConsentEvents(std::move(events));
    velmora->consentDataManager()->saveConsentEventsArray();
}

void Host::settle() const {
    if (!platform.runLoops->runUntilIdle(60))
        std::abort();
}

} // namespace bench
