#include "errors/ErrorKeys.h"
#include "errors/VMRErrorManager.h"
#include "support/Scenario.h"

#include <stdexcept>

namespace vmr::test {
namespace {

class ErrorEntries : public Scenario {
protected:
    static std::shared_ptr<VMRError> entry(const char *message) {
        return std::make_shared<VMRError>("kind", message, std::nullopt, std::nullopt);
    }
    void tellMessages(const VMRErrorManager &errors) {
        List messages;
        for (const auto &stored : errors.storedLogs())
            messages.push_back(Value::string(*stored->message()));
        tell("stored", Value::list(messages));
    }
    void store(VMRErrorManager &errors, std::initializer_list<const char *> messages) {
        VMRErrorManager::Entries entries;
        for (const char *message : messages)
            entries.push_back(entry(message));
        errors.storeErrors(entries);
        tellMessages(errors);
    }
};

TEST_F(ErrorEntries, OfTheNewestAsManyAsTheBufferHoldsSurvive) {
    VMRErrorManager errors;
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", 3}, {"ERRORS_LATENT_ARRAY_BUFFER_SIZE", 1}});
    step("a and b", [&] { store(errors, {"a", "b"}); });
    step("c and d", [&] { store(errors, {"c", "d"}); });
    step("nothing", [&] { store(errors, {}); });
    step("read again", [&] { tellMessages(VMRErrorManager()); });
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}, {"ERRORS_LATENT_ARRAY_BUFFER_SIZE", 1}});
    step("collection ends", [&] { tellMessages(errors); });
    step("e", [&] { store(errors, {"e"}); });
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", -1}});
    step("f, with room for -1", [&] { store(errors, {"f"}); });
    configure({{"ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", 0}});
    step("g, with room for 0", [&] { store(errors, {"g"}); });
    VMRConfigManager::setSavedConfiguration(Value());
    step("52 by default", [&] {
        VMRErrorManager::Entries entries(52, entry("same"));
        errors.storeErrors(entries);
        tell("stored", std::int64_t(errors.storedLogs().size()));
    });
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}});
    step("one more while nothing is collected", [&] {
        errors.storeError(entry("last"));
        tell("stored", std::int64_t(errors.storedLogs().size()));
    });
    EXPECT_THROW(errors.storeError(nullptr), std::invalid_argument);
    step("cleared", [&] {
        errors.setStoredLogs({});
        errors.saveLogsArray();
    });
    step("a stored list that cannot be read", [&] {
        set(VMRLogsArrayKey, "spoilt");
        tellMessages(VMRErrorManager());
    });
    expectRecorded();
}

TEST_F(ErrorEntries, AreDueStrictlyAfterBothIntervalsWhileTheyAreCollected) {
    openDebugGate();
    const VMRErrorManager first;
    VMRErrorManager errors;
    step("never posted", [&] { tell("due", errors.shouldPostLogs()); });
    const Date now = services.clock->now();
    const double day = 86400;
    const std::pair<double, double> ages[] = {{2 * day, day},       {2 * day + 0.5, day / 2},
                                              {2 * day + 0.5, day}, {-1, day},
                                              {3 * day, -1},        {2 * day + 0.5, day / 2 + 1}};
    for (const auto &[sinceLast, sinceAttempt] : ages)
        step("posted and tried so many seconds ago", [&, last = sinceLast, tried = sinceAttempt] {
            errors.setLastPostLogsDate(now.addingTimeInterval(-last));
            errors.setLastPostLogsAttemptDate(now.addingTimeInterval(-tried));
            errors.setLastPostLogsDate(std::nullopt);
            errors.setLastPostLogsAttemptDate(std::nullopt);
            tell("due", errors.shouldPostLogs());
        });
    configure({{"ERRORS_COLLECT_ACTIVATED", 0}, {"ERRORS_ATTEMPT_POST_TIME_INTERVAL", 1}});
    step("nothing is collected", [&] { tell("due", errors.shouldPostLogs()); });
    expectRecorded();
}

TEST_F(ErrorEntries, LeaveOutWhatTheyLack) {
    tell("without anything", VMRError().asJson());
    for (const VMRError &error :
         {VMRError(), VMRError("kind", "", std::nullopt, Dictionary()),
          VMRError("kind", "message", "stack", Dictionary{{"k", Value::string("v")}})}) {
        tell("JSON", error.asJson());
        const auto record = std::make_shared<VMRError>(error);
        const Data archive = archivedDataWithRootObject(Value::record(record));
        tell("archive", Value::data(archive));
        later(1);
        tell("read again", recordOfClass<VMRError>(*unarchiveObjectWithData(archive))->asJson());
    }
    expectRecorded();
}

} // namespace
} // namespace vmr::test
