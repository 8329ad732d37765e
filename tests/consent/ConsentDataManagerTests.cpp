#include "consent/VMRConsentDataManager.h"
#include "facade/VMRConfigManager.h"
#include "network/DataCoding.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

#include <thread>

namespace vmr::test {
namespace {

class Consents : public testing::Test {
protected:
    Consents() { VMRConfigManager::setSavedConfiguration(Value()); }
    void set(std::string_view key, const char *text) {
        services.preferences->setObject(Value::string(text), key);
    }
    TestPlatform services;
    std::shared_ptr<VMRConsentDataManager> manager = std::make_shared<VMRConsentDataManager>();
};

TEST_F(Consents, StartStoresAnEventForEachSideThatDiffersFromTheV2String) {
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 2u);
    EXPECT_TRUE(manager->lastTCFv1String().isAbsent());
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    set("IABTCF_TCString", "X");
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 6u);
    EXPECT_FALSE(manager->checkAndStoreTCStringsIfChanged());
    set("IABConsent_ConsentString", "v1");
    manager->setSavedConsentStringForKey("IABConsent_ConsentString");
    EXPECT_EQ(*manager->lastTCFv1String().asString(), "v1");
    EXPECT_TRUE(manager->checkAndStoreTCStringsIfChanged());
    EXPECT_EQ(manager->storedConsentEvents().size(), 7u);
    EXPECT_EQ(*manager->lastTCFv1String().asString(), "X");
    EXPECT_EQ(services.log->count("last: X, new: X"), 2u);
}

TEST_F(Consents, PostIsDueStrictlyAfterBothIntervalsOrWhenTheClockWentBack) {
    EXPECT_TRUE(manager->shouldPostConsentEventDatas());
    EXPECT_FALSE(manager->shouldPostData());
    VMRConfigManager::setSavedConfiguration(
        Value::dictionary({{"LOGS_REQUEST_SEND_TIME_INTERVAL", Value::integer(1)},
                           {"LOGS_REQUEST_ATTEMPT_TIME_INTERVAL", Value::integer(2)}}));
    const Date now = services.clock->now();
    const struct {
        double sinceLast, sinceAttempt;
        bool answer;
    } cases[] = {{3600, 7201, false}, {3601, 7200, false}, {3601, 7201, true},
                 {-1, 0, true},       {0, -1, true},       {0, 0, false}};
    for (const auto &[sinceLast, sinceAttempt, answer] : cases) {
        manager->setLastSendConsentDatasDate(now.addingTimeInterval(-sinceLast));
        manager->setLastSendConsentDatasAttemptDate(now.addingTimeInterval(-sinceAttempt));
        EXPECT_EQ(manager->shouldPostConsentEventDatas(), answer)
            << sinceLast << ' ' << sinceAttempt;
    }
}

TEST_F(Consents, EventIdentifierIsADigestOverTheTextsEvenOfMissingValues) {
    VMRConsentEvent event;
    const Dictionary json = event.formatedJsonWithUUID(std::nullopt);
    EXPECT_TRUE(valueForKey(json, "consentString").isNull());
    EXPECT_TRUE(valueForKey(json, "localDate").isAbsent());
    EXPECT_EQ(*valueForKey(json, "eventId").asString(), VMR_sha256("(null);(null);(null)"));
}

TEST_F(Consents, ChangedEventIsEncodedAnew) {
    const auto event = std::make_shared<VMRConsentEvent>();
    event->setConsentString(Value::string("a"));
    const Data first = event->encodedForm();
    EXPECT_TRUE(event->encodedForm().isIdenticalTo(first));
    const auto copy = event->copy();
    copy->setConsentString(Value::string("b"));
    EXPECT_TRUE(event->encodedForm().isIdenticalTo(first));
    EXPECT_FALSE(copy->encodedForm() == first);
}

TEST_F(Consents, ThreadsThatStoreAtOnceLoseNoEventInTheStore) {
    const auto storeMany = [this] {
        for (int count = 0; count < 100; ++count)
            manager->storeConsentStringEvent(Value::string("text"));
    };
    std::thread other(storeMany);
    storeMany();
    other.join();
    EXPECT_EQ(VMRConsentDataManager().storedConsentEvents().size(), 200u);
}

TEST_F(Consents, StoredValueThatIsNoListIsSetAside) {
    set("VMRConsentEventsArray", "spoilt");
    EXPECT_TRUE(VMRConsentDataManager().storedConsentEvents().empty());
    EXPECT_EQ(services.preferences->stringForKey("VMRConsentEventsArray.unreadable"), "spoilt");
}

} // namespace
} // namespace vmr::test
