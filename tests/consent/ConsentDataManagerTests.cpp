#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/Persistence.h"
#include "support/LogicFixture.h"

#include <thread>

namespace vmr::test {
namespace {

class Consents : public LogicTest {
protected:
    std::size_t stored() const {
        return deviceDataArrayWithType(DeviceDataConsentEvents).asList()->size();
    }
    VMRConsentDataManager manager;
};

TEST_F(Consents, StoreHoldsTheWholeListWhenAnotherThreadDidNotWait) {
    services.preferences->beforeNextWrite = [this] {
        manager.storeConsentStringEvent(Value::string("b"));
    };
    manager.storeConsentStringEvent(Value::string("a"));
    EXPECT_EQ(stored(), 2u);
}

TEST_F(Consents, ObserverOfTheListMayWaitForAnotherThreadThatStores) {
    const auto observer = std::make_shared<CallingObserver>();
    observer->call = [this] {
        std::thread([this] { manager.storeConsentStringEvent(Value::string("b")); }).join();
    };
    services.preferences->addObserver(observer, DeviceDataConsentEvents, nullptr);
    manager.storeConsentStringEvent(Value::string("a"));
    EXPECT_EQ(stored(), 2u);
}

} // namespace
} // namespace vmr::test
