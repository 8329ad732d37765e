#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "support/LogicFixture.h"

namespace vmr::test {
namespace {

constexpr double hour = 3600;

class DeviceDataManager : public LogicTest {
protected:
    Date now() const { return services.clock->now(); }
    Date ago(double seconds) const { return now().addingTimeInterval(-seconds); }
    void acknowledge() {
        manager.saveVMRId();
        manager.setIsNewDevice(false);
    }
    VMRDeviceDataManager manager;
};

Dictionary numbers(std::initializer_list<std::pair<const char *, int>> entries) {
    Dictionary dictionary;
    for (const auto &[key, number] : entries)
        dictionary[key] = Value::integer(number);
    return dictionary;
}

TEST_F(DeviceDataManager, FreshInstallationHasAnIdentityThatIsNotStored) {
    EXPECT_TRUE(manager.isNewDevice());
    EXPECT_EQ(manager.VMRId()->size(), 36u);
    EXPECT_FALSE(manager.deviceData()->isSdkEnabled());
    EXPECT_EQ(services.preferences->keys(), std::vector<std::string>{"VMRSDKConfiguration"});
    EXPECT_EQ(manager.identifierForDataHashID(), manager.VMRId());
    services.advertising->status = 3;
    EXPECT_EQ(manager.identifierForDataHashID(), services.advertising->identifier);
    EXPECT_NE(VMRDeviceDataManager().VMRId(), manager.VMRId());
}

TEST_F(DeviceDataManager, AcknowledgedIdentityAndRecordAreLoaded) {
    manager.deviceData()->setNbLaunchesSinceBeginning(3);
    manager.deviceData()->saveData();
    manager.saveVMRId();
    const VMRDeviceDataManager next;
    EXPECT_FALSE(next.isNewDevice());
    EXPECT_EQ(next.VMRId(), manager.VMRId());
    EXPECT_EQ(next.deviceData()->nbLaunchesSinceBeginning(), 3);

    services.preferences->setObject(Value::integer(42), DeviceDataVMRId);
    EXPECT_EQ(VMRDeviceDataManager().VMRId(), "42");
}

TEST_F(DeviceDataManager, DatesAreNeverCleared) {
    EXPECT_EQ(dateOrDistantPast(manager.lastGetDeviceDate()), Date::distantPast());
    manager.setLastGetDeviceDate(Date{5});
    manager.setLastPostDeviceAttemptDate(Date{6});
    manager.setLastGetDeviceDate(std::nullopt);
    manager.setLastPostDeviceAttemptDate(std::nullopt);
    EXPECT_EQ(dateOrDistantPast(savedDateOrNilForKey("VMRLastPostDeviceDate")), Date{5});
    EXPECT_EQ(dateOrDistantPast(manager.lastPostDeviceAttemptDate()), Date{6});
}

TEST_F(DeviceDataManager, RegistrationIsRefreshedAfterItsInterval) {
    struct Case {
        int configuredHours;
        double age;
        bool due;
    };
    for (const auto &[configuredHours, age, due] : {Case{48, 47 * hour, false},
                                                    {48, 48 * hour, false},
                                                    {48, 48 * hour + 0.5, true},
                                                    {0, hour, false},
                                                    {0, hour + 0.5, true},
                                                    {-5, hour, false},
                                                    {-5, 2 * hour, true}}) {
        configure({{"GET_DEVICE_REQUEST_TIME_INTERVAL", configuredHours}});
        manager.setLastGetDeviceDate(ago(age));
        EXPECT_EQ(manager.shouldGetDevice(), due) << configuredHours << " h, age " << age;
    }
}

TEST_F(DeviceDataManager, NewDeviceIsAlwaysPosted) {
    openDebugGate();
    manager.setLastGetDeviceDate(now());
    manager.setLastPostDeviceAttemptDate(ago(2 * hour));
    EXPECT_TRUE(manager.shouldPostDeviceWithParameters({}, now()));
    EXPECT_EQ(services.log->lines(),
              (std::vector<std::string>{
                  "[VMR] ************** Should perform device update : ******************",
                  "[VMR]    - is new device", "[VMR]    - YES"}));

    services.log->clear();
    manager.setLastPostDeviceAttemptDate(ago(2 * hour + 0.5));
    EXPECT_TRUE(manager.shouldPostDeviceWithParameters({}, now()));
    EXPECT_EQ(services.log->count("[VMR]    - is new device && shouldRetryPostDevice"), 1u);
    configure({{"LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL", -1}}); // without a floor
    manager.setLastPostDeviceAttemptDate(now());
    EXPECT_TRUE(manager.shouldPostDeviceWithParameters({}, now()));
    EXPECT_EQ(services.log->count("[VMR]    - is new device && shouldRetryPostDevice"), 2u);
}

TEST_F(DeviceDataManager, KnownDeviceIsPostedForARefreshOrAnUrgentParameter) {
    acknowledge();
    openDebugGate();
    manager.setLastGetDeviceDate(now());
    manager.setLastPostDeviceAttemptDate(Date::distantPast());
    EXPECT_FALSE(manager.shouldPostDeviceWithParameters(numbers({{"ordinary", 1}}), now()));
    EXPECT_EQ(services.log->count("[VMR]    - NO"), 1u);

    const Dictionary urgent = numbers({{"a hight prio param", 1}});
    EXPECT_TRUE(manager.shouldPostDeviceWithParameters(urgent, now()));
    EXPECT_EQ(services.log->count(
                  "[VMR]    - high Priority Parameters changed -> a hight prio param : 1"),
              1u);
    manager.deviceData()->setLastUpdateDeviceParametersSent(Value::dictionary(urgent));
    EXPECT_FALSE(manager.shouldPostDeviceWithParameters(urgent, now()));

    manager.setLastGetDeviceDate(ago(49 * hour));
    EXPECT_TRUE(manager.shouldPostDeviceWithParameters(urgent, now()));
    EXPECT_EQ(services.log->count("[VMR]    - shouldGetDevice"), 1u);
    EXPECT_TRUE(manager.postDeviceParams().empty());
}

TEST_F(DeviceDataManager, HighPriorityIsLookedForAtAnyDepth) {
    const Value urgent = Value::dictionary({{"a hight prio param", Value::null()}});
    const auto changed = [&](const std::optional<Dictionary> &params) {
        return manager.highPriorityValueChangedForDeviceParameters(params);
    };
    EXPECT_TRUE(changed(*urgent.asDictionary()));
    EXPECT_TRUE(changed(Dictionary{{"outer", Value::dictionary({{"inner", urgent}})}}));
    EXPECT_FALSE(changed(Dictionary{{"list", Value::list({urgent})}}));
    EXPECT_FALSE(changed(Dictionary{{"a high prio param", Value::integer(1)}}));
    EXPECT_FALSE(changed(Dictionary()));
    EXPECT_FALSE(changed(std::nullopt));
}

TEST_F(DeviceDataManager, DiffKeepsWhatIsNewChangedOrForced) {
    const Value nested = Value::dictionary(numbers({{"x", 1}}));
    Dictionary current = numbers({{"a", 1}, {"b", 2}});
    current["n"] = nested;
    Dictionary previous = numbers({{"a", 1}, {"b", 3}, {"gone", 1}});
    previous["n"] = nested;
    const auto diff = [&](const std::optional<Dictionary> &before,
                          const std::optional<std::vector<std::string>> &forced) {
        return Value::dictionary(manager.diffParameters(current, before, forced));
    };
    Dictionary expected = numbers({{"b", 2}});
    expected["n"] = Value::dictionary({});
    EXPECT_TRUE(diff(previous, std::nullopt).isEqualTo(Value::dictionary(expected)));
    EXPECT_TRUE(diff(std::nullopt, std::nullopt).isEqualTo(Value::dictionary(current)));

    expected["a"] = Value::integer(1);
    expected["n"] = nested;
    EXPECT_TRUE(diff(previous, {{"a", "x"}}).isEqualTo(Value::dictionary(expected)));

    // A dictionary that was something else before has changed in every entry.
    previous["n"] = Value::string("text");
    EXPECT_TRUE(diff(previous, {{"a"}}).isEqualTo(Value::dictionary(expected)));
}

TEST_F(DeviceDataManager, EnvelopesHoldTheirFixedKeys) {
    using testing::ElementsAre, testing::Key;
    const Dictionary consents = manager.postConsentsDataParametersAtDate(now());
    EXPECT_THAT(consents, ElementsAre(Key("appVersion"), Key("bundleId"), Key("deviceModel"),
                                      Key("os"), Key("postDate"), Key("sdkVersion"),
                                      Key("systemVersion"), Key("uuid"), Key("uuidV")));
    EXPECT_EQ(valueForKey(consents, "os").description(), "ios");
    EXPECT_EQ(valueForKey(consents, "sdkVersion").description(), "87fc04-Debug");
    EXPECT_EQ(valueForKey(consents, "uuid").description(), services.advertising->identifier);
    EXPECT_EQ(valueForKey(consents, "uuidV").description(), *services.device->vendor);

    const Dictionary errors = manager.postErrorsParametersForDate(now());
    EXPECT_THAT(errors, ElementsAre(Key("appVersion"), Key("bundleId"), Key("os"), Key("postDate"),
                                    Key("sdkVersion"), Key("uuid"), Key("uuidV"), Key("vmrId")));
    EXPECT_EQ(valueForKey(errors, "vmrId").description(), *manager.VMRId());

    services.device->vendor.reset();
    services.bundle->information.clear();
    services.bundle->identifier.reset();
    EXPECT_THAT(
        manager.postErrorsParametersForDate(now()),
        ElementsAre(Key("os"), Key("postDate"), Key("sdkVersion"), Key("uuid"), Key("vmrId")));
}

} // namespace
} // namespace vmr::test
