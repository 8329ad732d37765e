#pragma once

#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "errors/VMRErrorManager.h"
#include "facade/Velmora.h"
#include "support/LogicFixture.h"

namespace vmr::test {

inline constexpr std::string_view v1Key = TCFv1ConsentStringKey;
inline constexpr std::string_view v2Key = TCFv2ConsentStringKey;

/// Keeps the typed request that the real manager never answers.
struct AnsweringManager final : VMRNetworkManager {
    void requestWithType(VMRHttpRequestType, const Dictionary &, const std::vector<std::string> &,
                         VMRSuccessHandler successHandler, VMRErrorHandler errorHandler) override {
        success = std::move(successHandler);
        failure = std::move(errorHandler);
    }
    VMRSuccessHandler success;
    VMRErrorHandler failure;
};

class Facade : public LogicTest {
protected:
    ~Facade() override { earlierStatusLines = statusLines(); }

    void start() { velmora->configureWithApiKey("key", "secret"); }
    void enterForeground() {
        services.notifications->postNotification(UIApplicationWillEnterForegroundNotification);
    }
    std::size_t stored() const {
        return velmora->consentDataManager()->storedConsentEvents().size();
    }
    bool sent(std::size_t count) {
        return services.loops->runUntil([&] { return services.http->sentCount() == count; });
    }
    /// Status lines of this process, also of earlier tests.
    std::size_t statusLines() const {
        return earlierStatusLines +
               services.log->countContaining("Successfully initialized for device");
    }

    static inline std::size_t earlierStatusLines = 0;
    std::shared_ptr<Velmora> velmora = std::make_shared<Velmora>();
};

} // namespace vmr::test
