#include "facade/Velmora.h"

#include <utility>

namespace vmr {

std::shared_ptr<Velmora> Velmora::sharedVelmora() {
    static const auto &shared = *new std::shared_ptr<Velmora>(std::make_shared<Velmora>());
    return shared;
}

void Velmora::initWithApiKey(std::optional<std::string> apiKey, std::optional<std::string> secret) {
    sharedVelmora()->configureWithApiKey(std::move(apiKey), std::move(secret));
}

std::shared_ptr<VMRDeviceDataManager> Velmora::deviceDataManager() const {
    return read(&Velmora::deviceDataManager_);
}

void Velmora::setDeviceDataManager(std::shared_ptr<VMRDeviceDataManager> manager) {
    write(&Velmora::deviceDataManager_, std::move(manager));
}

std::shared_ptr<VMRConsentDataManager> Velmora::consentDataManager() const {
    return read(&Velmora::consentDataManager_);
}

void Velmora::setConsentDataManager(std::shared_ptr<VMRConsentDataManager> manager) {
    write(&Velmora::consentDataManager_, std::move(manager));
}

std::shared_ptr<VMRErrorManager> Velmora::logManager() const {
    return read(&Velmora::logManager_);
}

void Velmora::setLogManager(std::shared_ptr<VMRErrorManager> manager) {
    write(&Velmora::logManager_, std::move(manager));
}

Velmora::DateProvider Velmora::actualDateProvider() const {
    return read(&Velmora::actualDateProvider_);
}

void Velmora::setActualDateProvider(DateProvider provider) {
    write(&Velmora::actualDateProvider_, std::move(provider));
}

std::shared_ptr<VMRNetworkManager> Velmora::networkManager() const {
    return read(&Velmora::networkManager_);
}

void Velmora::setNetworkManager(std::shared_ptr<VMRNetworkManager> manager) {
    write(&Velmora::networkManager_, std::move(manager));
}

std::shared_ptr<Invocation> Velmora::consentsDateRequestInvocation() const {
    return read(&Velmora::consentsDateRequestInvocation_);
}

void Velmora::setConsentsDateRequestInvocation(std::shared_ptr<Invocation> invocation) {
    write(&Velmora::consentsDateRequestInvocation_, std::move(invocation));
}

} // namespace vmr
