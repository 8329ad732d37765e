#include "device/DateFormatting.h"
#include "device/DatePredicates.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "support/Scenario.h"

namespace vmr::test {
namespace {

constexpr double hour = 3600;

class DeviceData : public Scenario {
protected:
    Date ago(double seconds) const { return services.clock->now().addingTimeInterval(-seconds); }
    static Dictionary numbers(std::initializer_list<std::pair<const char *, int>> entries) {
        Dictionary dictionary;
        for (const auto &[key, number] : entries)
            dictionary[key] = Value::integer(number);
        return dictionary;
    }
};

TEST_F(DeviceData, IsAskedForWhenNewAndThenEveryIntervalOrForAnUrgentParameter) {
    openDebugGate();
    VMRDeviceDataManager manager;
    const auto decide = [&](const std::string &what, const Dictionary &parameters) {
        step(what,
             [&] { tell("post", manager.shouldPostDeviceWithParameters(parameters, ago(0))); });
    };
    decide("a new device", {});
    manager.setLastPostDeviceAttemptDate(ago(2 * hour));
    decide("tried exactly two hours ago", {});
    manager.setLastPostDeviceAttemptDate(ago(2 * hour + 0.5));
    decide("tried a little longer ago", {});
    configure({{"LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL", -1}});
    manager.setLastPostDeviceAttemptDate(ago(0));
    decide("without a floor", {});
    manager.setIsNewDevice(false);
    manager.setLastGetDeviceDate(ago(0));
    manager.setLastGetDeviceDate(std::nullopt);
    manager.setLastPostDeviceAttemptDate(std::nullopt);
    const Dictionary urgent = numbers({{"a hight prio param", 1}, {"ordinary", 1}});
    decide("known, nothing urgent", numbers({{"a high prio param", 1}}));
    decide("known, urgent", urgent);
    manager.deviceData()->setLastUpdateDeviceParametersSent(Value::dictionary(urgent));
    decide("known, urgent, sent already", urgent);
    manager.deviceData()->setLastUpdateDeviceParametersSent(Value::string("no dictionary"));
    decide("known, urgent, something else was sent", urgent);
    const std::pair<int, double> ages[] = {{48, 48 * hour}, {48, 48 * hour + 0.5}, {2, hour + 1},
                                           {0, hour},       {0, hour + 0.5},       {-5, hour},
                                           {-5, 2 * hour}};
    for (const auto &[hours, age] : ages) {
        configure({{"GET_DEVICE_REQUEST_TIME_INTERVAL", hours}});
        manager.setLastGetDeviceDate(ago(age));
        tell("due", manager.shouldGetDevice());
    }
    decide("known, due", {});
    const Value inner = Value::dictionary({{"a hight prio param", Value::null()}});
    const Dictionary nested{{"outer", Value::dictionary({{"inner", inner}})},
                            {"list", Value::list({inner})}};
    tell("urgent inside", manager.highPriorityValueChangedForDeviceParameters(nested));
    tell("urgent in a list", manager.highPriorityValueChangedForDeviceParameters(
                                 Dictionary{{"list", Value::list({inner})}}));
    tell("none", manager.highPriorityValueChangedForDeviceParameters(std::nullopt));
    expectRecorded();
}

TEST_F(DeviceData, DiffersInWhatIsNewChangedOrForced) {
    const VMRDeviceDataManager manager;
    Dictionary current = numbers({{"a", 1}, {"b", 2}, {"new", 3}});
    current["n"] = Value::dictionary(numbers({{"x", 1}, {"y", 2}}));
    Dictionary previous = numbers({{"a", 1}, {"b", 3}, {"gone", 1}});
    previous["n"] = Value::dictionary(numbers({{"x", 1}, {"y", 3}}));
    tell("of nothing", manager.diffParameters(current, std::nullopt, std::nullopt));
    tell("of another", manager.diffParameters(current, previous, std::nullopt));
    tell("of itself", manager.diffParameters(current, current, std::nullopt));
    tell("forced", manager.diffParameters(current, current, {{"a", "x"}}));
    previous["n"] = Value::string("text");
    tell("of no dictionary", manager.diffParameters(current, previous, {{"a"}}));
    tell("parameters", manager.postDeviceParams());
    tell("reports", manager.reportPostParametersWithReports(Value::list({Value::integer(1)})));
    tell("no reports", manager.reportPostParametersWithReports(Value()));
    expectRecorded();
}

TEST_F(DeviceData, EnvelopesLeaveOutWhatIsMissing) {
    VMRDeviceDataManager manager;
    EXPECT_NE(VMRDeviceDataManager().VMRId(), manager.VMRId());
    EXPECT_EQ(manager.VMRId()->size(), 36u);
    manager.setVMRId("the identifier");
    tell("new", manager.isNewDevice());
    tell("consents", manager.postConsentsDataParametersAtDate(Date{1616893200}));
    tell("errors", manager.postErrorsParametersForDate(Date{1604206799.999}));
    for (const char *version : {"13.9", "14", "14.0", "17.4"})
        for (const std::uint64_t status : {2u, 3u}) {
            services.device->version = version;
            services.advertising->status = status;
            services.advertising->enabled = status == 2;
            tell(std::string(version) + " identifier for hashes",
                 manager.identifierForDataHashID());
        }
    Value &version = services.bundle->information["CFBundleShortVersionString"];
    for (const Value &odd : {Value::real(2.5), Value::boolean(true), Value::null(), Value()}) {
        version = odd;
        tell("version", VMRSystemInfosFetcher::appVersion());
    }
    for (const std::size_t length : {255, 256, 257, 300}) {
        services.bundle->identifier = "é";
        for (std::size_t index = 1; index < length; ++index)
            services.bundle->identifier->push_back(static_cast<char>('a' + index % 26));
        tell(std::to_string(length) + " characters", VMRSystemInfosFetcher::bundleIdShort());
    }
    services.device->vendor.reset();
    services.bundle->identifier.reset();
    tell("errors", manager.postErrorsParametersForDate(Date{0}));
    services.device->responds = false;
    tell("no vendor", VMRSystemInfosFetcher::idfv());
    expectRecorded();
}

TEST_F(DeviceData, IsStoredUnderItsKeysAndFlushedOnOldSystems) {
    for (const char *version : {"9.2.9", "9.3"}) {
        services.device->version = version;
        step("on " + std::string(version), [this] {
            saveArrayWithKey(List{Value::integer(1), Value::null()}, "list");
            saveDictionaryWithKey({{"d", Value::date(Date{1.5})}}, "dictionary");
            saveDateForKey(Date{12.25}, "date");
            saveDateForKey(std::nullopt, "date");
            VMRDeviceDataManager manager;
            manager.setVMRId("the identifier");
            manager.saveVMRId();
            manager.setLastGetDeviceDate(Date{5});
            manager.setLastPostDeviceAttemptDate(Date{6});
            const auto record = manager.deviceData();
            record->setIsSdkEnabled(!record->isSdkEnabled());
            record->setFirstLaunchDate(Date{1614866767.25});
            record->setNbLaunchesSinceBeginning(INT64_MAX);
            record->saveData();
        });
    }
    const VMRDeviceDataManager next;
    tell("new", next.isNewDevice());
    tell("identifier", next.VMRId());
    tell("enabled", next.deviceData()->isSdkEnabled());
    tell("launches", next.deviceData()->nbLaunchesSinceBeginning());
    tell("first launch", Value::date(*next.deviceData()->firstLaunchDate()));
    tell("parameters", next.deviceData()->lastUpdateDeviceParametersSent());
    tell("list", deviceDataArrayWithType("list"));
    tell("list of a dictionary", deviceDataArrayWithType("dictionary"));
    tell("dictionary", mutableDictionaryWithType("dictionary"));
    storeArchive(archivedDataWithRootObject(Value()), "list");
    tell("list of absent", deviceDataArrayWithType("list"));
    tell("nothing", deviceDataArrayWithType("never"));
    tell("nothing", mutableDictionaryWithType("never"));
    tell("date never written", savedDateOrDistantPastForKey("never"));
    tell("date never written", savedDateOrNilForKey("never"));
    services.preferences->setObject(Value::integer(42), DeviceDataVMRId);
    tell("identifier", VMRDeviceDataManager().VMRId());
    expectRecorded();
}

TEST_F(DeviceData, DatesArePrintedInTheirPatternsAndZones) {
    const double odd[] = {1614866767.9994, 1614866767.9996, -0.25,        1604206799,
                          1604206800,      -62135769600,    253402300800, 5.000499};
    for (const double seconds : odd) {
        const Date date{seconds};
        tell("data stream", dataStreamApiFormatedDateString(date));
        tell("postgres", VMR_postgresDateFormatter().stringFromDate(date));
        tell("aws", VMR_awsDateFormatter().stringFromDate(date));
        tell("aws, short", VMR_awsShortDateFormatter().stringFromDate(date));
        tell("web view", VMR_cmpWebviewDateFormatter().stringFromDate(date));
    }
    tell("no date", dataStreamApiFormatedDateString(std::nullopt));
    for (const auto &date : {std::optional<Date>(), std::optional(Date::distantPast()),
                             std::optional(Date::distantFuture()), std::optional(Date{0})})
        tell("valid", isVMRValid(date));
    for (const double second : {0.0, 1.0, 2.0, 3.0}) {
        tell("before", isBefore(Date{second}, Date{1}));
        tell("after", isAfter(Date{second}, Date{1}));
        tell("between", isBetweenDate(Date{second}, Date{1}, Date{2}));
        tell("between the wrong way round", isBetweenDate(Date{second}, Date{2}, Date{1}));
    }
    const Date minute{1614866760};
    for (const double seconds : {59.9, 60.0, 3600.0, 86400.0, 31 * 86400.0, 365 * 86400.0})
        tell("same minute",
             isEqualToDateIgnoringSeconds(minute, minute.addingTimeInterval(seconds)));
    tell("same minute as no date", isEqualToDateIgnoringSeconds(minute, std::nullopt));
    expectRecorded();
}

} // namespace
} // namespace vmr::test
