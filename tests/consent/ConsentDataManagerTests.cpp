#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "device/Persistence.h"
#include "support/LogicFixture.h"

#include <barrier>
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

TEST_F(Consents, StoreHoldsTheWholeListWhenTwoThreadsHaveStored) {
    std::barrier together(2);
    for (std::size_t round = 1; round <= 100; ++round) {
        const auto storeOne = [&] {
            together.arrive_and_wait();
            manager.storeConsentStringEvent(Value::string("text"));
        };
        std::thread other(storeOne);
        storeOne();
        other.join();
        ASSERT_EQ(stored(), 2 * round);
    }
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
