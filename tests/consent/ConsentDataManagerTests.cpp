#include "consent/VMRConsentDataManager.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "network/DataCoding.h"
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

TEST_F(Consents, IdentifierIsMadeOfTheWholeTextOfANestedValue) {
    Value nested = Value::list(List(100, Value::string("a\nb")));
    for (int level = 0; level < 400; ++level)
        nested = Value::list({nested});
    VMRConsentEvent event;
    event.setConsentString(nested);
    const Dictionary item = event.formatedJsonWithUUID("id");
    const std::string text = "id;" + nested.description() + ";(null)";
    ASSERT_GT(text.size(), 500'000u);
    EXPECT_EQ(*valueForKey(item, "eventId").asString(), VMR_sha256(text));
}

} // namespace
} // namespace vmr::test
