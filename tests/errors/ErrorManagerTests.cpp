#include "device/Persistence.h"
#include "errors/ErrorKeys.h"
#include "errors/VMRErrorManager.h"
#include "support/LogicFixture.h"

#include <barrier>
#include <stdexcept>
#include <thread>

namespace vmr::test {
namespace {

class Errors : public LogicTest {
protected:
    static std::shared_ptr<VMRError> entry(const char *message) {
        return std::make_shared<VMRError>("error", message, std::nullopt, std::nullopt);
    }
    static std::string messages(const VMRErrorManager &manager) {
        std::string all;
        for (const auto &stored : manager.storedLogs())
            all += *stored->message();
        return all;
    }
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

TEST_F(Errors, StoreHoldsTheWholeListWhenTwoThreadsHaveStored) {
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", -1}});
    VMRErrorManager manager;
    std::barrier together(2);
    for (std::size_t round = 1; round <= 50; ++round) {
        const auto storeOne = [&] {
            together.arrive_and_wait();
            manager.storeError(entry("a"));
        };
        std::thread other(storeOne);
        storeOne();
        other.join();
        ASSERT_EQ(deviceDataArrayWithType(VMRLogsArrayKey).asList()->size(), 2 * round);
    }
}

TEST_F(Errors, DecisionIsWrittenLineByLine) {
    openDebugGate();
    VMRErrorManager manager;
    const Date now = services.clock->now();
    manager.setLastPostLogsDate(now.addingTimeInterval(-200000.5));
    manager.setLastPostLogsAttemptDate(now.addingTimeInterval(-50000));
    services.log->clear();
    EXPECT_TRUE(manager.shouldPostLogs());
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}, {"ERRORS_ATTEMPT_POST_TIME_INTERVAL", 1}});
    EXPECT_FALSE(manager.shouldPostLogs());
    const std::string date = "[VMR]    - last send errors date    : 2021-03-02 06:32:46 +0000 - "
                             "(200000 / 172800.000000)";
    const std::string attempt =
        "[VMR]    - last send errors attempt : 2021-03-04 00:12:47 +0000 - (50000 / ";
    EXPECT_THAT(services.log->lines(),
                testing::ElementsAre(
                    "[VMR] ************** Should post errors : YES ******************",
                    "[VMR]    - sending errors Activated : true ", date, attempt + "43200.000000)",
                    "[VMR] ************** Should post errors : NO ******************",
                    "[VMR]    - sending errors Activated : (null) ", date,
                    attempt + "3600.000000)"));
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
    const auto again = recordOfClass<VMRError>(*root);
    ASSERT_TRUE(again);
    EXPECT_TRUE(Value::dictionary(again->asJson()).isEqualTo(Value::dictionary(json)));
}

} // namespace
} // namespace vmr::test
