#include "consent/VMRConsentEvent.h"
#include "errors/BoundedAppend.h"
#include "errors/VMRApiSerializableData.h"
#include "errors/VMRErrorManager.h"
#include "facade/VMRConfigManager.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace vmr::test {
namespace {

class Errors : public testing::Test {
protected:
    Errors() { VMRConfigManager::setSavedConfiguration(Value()); }
    static std::shared_ptr<VMRError> entry(const char *message) {
        return std::make_shared<VMRError>("error", message, std::nullopt, std::nullopt);
    }
    static std::string messages(const VMRErrorManager &manager) {
        std::string all;
        for (const auto &stored : manager.storedLogs())
            all += *stored->message();
        return all;
    }
    static void configure(std::initializer_list<std::pair<const char *, int>> entries) {
        Dictionary configuration;
        for (const auto &[key, number] : entries)
            configuration[key] = Value::integer(number);
        VMRConfigManager::setSavedConfiguration(Value::dictionary(configuration));
    }
    TestPlatform services;
};

TEST_F(Errors, BufferKeepsTheNewestEntriesAcrossStarts) {
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", 3}, {"ERRORS_LATENT_ARRAY_BUFFER_SIZE", 1}});
    VMRErrorManager manager;
    manager.storeErrors({entry("a"), entry("b")});
    manager.storeErrors({entry("c"), entry("d")});
    EXPECT_EQ(messages(VMRErrorManager()), "bcd");
    const int writes = services.preferences->writes("VMRLogsArray");
    manager.storeErrors({});
    EXPECT_EQ(services.preferences->writes("VMRLogsArray"), writes);
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}, {"ERRORS_LATENT_ARRAY_BUFFER_SIZE", 1}});
    EXPECT_EQ(messages(manager), "bcd");
    manager.storeError(entry("e"));
    EXPECT_EQ(messages(manager), "e");
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", -1}});
    manager.storeError(entry("f"));
    EXPECT_EQ(messages(manager), "ef");
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", 0}});
    manager.storeError(entry("g"));
    EXPECT_EQ(messages(manager), "");
    EXPECT_THROW(manager.storeError(nullptr), std::invalid_argument);
}

TEST_F(Errors, BoundedAppendOfNothingStillTrims) {
    List list{Value::integer(1), Value::integer(2)};
    addObject(list, Value(), 1);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].integerValue(), 2);
}

TEST_F(Errors, PostsOnlyWhenActiveAndBothIntervalsHavePassed) {
    VMRErrorManager manager;
    EXPECT_TRUE(manager.shouldPostLogs());
    const Date now = services.clock->now();
    const double hour = 3600;
    const struct {
        double sinceLast, sinceAttempt;
        bool answer;
    } cases[] = {{48 * hour, 13 * hour, false},
                 {48 * hour + 1, 12 * hour, false},
                 {48 * hour + 1, 12 * hour + 1, true},
                 {-1, 13 * hour, false}};
    for (const auto &[sinceLast, sinceAttempt, answer] : cases) {
        manager.setLastPostLogsDate(now.addingTimeInterval(-sinceLast));
        manager.setLastPostLogsAttemptDate(now.addingTimeInterval(-sinceAttempt));
        EXPECT_EQ(manager.shouldPostLogs(), answer) << sinceLast << ' ' << sinceAttempt;
    }
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}, {"DISPLAY_LOGS", 1}});
    EXPECT_FALSE(manager.shouldPostLogs());
    EXPECT_EQ(services.log->count("[VMR]    - sending errors Activated : (null) "), 1u);
}

TEST_F(Errors, JsonLeavesOutWhatIsMissing) {
    EXPECT_TRUE(VMRError().asJson().empty());
    const VMRError error("kind", "", std::nullopt, Dictionary());
    const Dictionary json = error.asJson();
    EXPECT_EQ(json.size(), 3u);
    EXPECT_EQ(*valueForKey(json, "exception").asString(), "kind");
    EXPECT_NE(valueForKey(json, "metadata").asDictionary(), nullptr);
    const auto record = std::make_shared<VMRError>(error);
    const auto root = unarchiveObjectWithData(archivedDataWithRootObject(Value::record(record)));
    const auto again = std::dynamic_pointer_cast<const VMRError>(root->asRecord());
    ASSERT_TRUE(again);
    EXPECT_TRUE(Value::dictionary(again->asJson()).isEqualTo(Value::dictionary(json)));
}

TEST_F(Errors, SerialiserSetsInvalidItemsAside) {
    VMRApiSerializableData::Items items;
    for (const Value &string : {Value::string("a"), Value::data(Data("x")), Value::string("b")}) {
        auto event = std::make_shared<VMRConsentEvent>();
        event->setConsentString(string);
        items.push_back(event);
    }
    const VMRApiSerializableData payload(items, "id");
    ASSERT_EQ(payload.serializedData().size(), 2u);
    EXPECT_EQ(*valueForKey(*payload.serializedData()[1].asDictionary(), "consentString").asString(),
              "b");
    ASSERT_EQ(payload.serializationErrors().size(), 1u);
    EXPECT_EQ(payload.serializationErrors()[0]->error(), "iOS non-serializable event");
    EXPECT_THROW(VMRDataSreamApiSentData().formatedJsonWithUUID("id"), std::logic_error);
}

} // namespace
} // namespace vmr::test
