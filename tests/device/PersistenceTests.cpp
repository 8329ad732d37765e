#include "device/Persistence.h"
#include "device/VMRDeviceData.h"
#include "device/VMRDeviceDataManager.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

class Persistence : public testing::Test {
protected:
    Value stored(std::string_view key) { return services.preferences->objectForKey(key); }
    void putBytes(std::string bytes, std::string_view key) {
        services.preferences->setObject(Value::data(Data(std::move(bytes))), key);
    }
    void expectKept(std::string_view key, std::string_view bytes) {
        const Value value = stored(key);
        ASSERT_NE(value.asData(), nullptr) << key;
        EXPECT_EQ(value.asData()->bytes(), bytes);
    }

    TestPlatform services;
};

TEST_F(Persistence, CollectionsComeBackAndDefaultToEmpty) {
    const List list{Value::integer(1), Value::dictionary({{"k", Value::null()}}), Value::list({})};
    saveArrayWithKey(list, "list");
    EXPECT_TRUE(deviceDataArrayWithType("list").isEqualTo(Value::list(list)));
    saveArrayWithKey(List(), "list");
    EXPECT_TRUE(deviceDataArrayWithType("list").isEqualTo(Value::list({})));
    EXPECT_TRUE(deviceDataArrayWithType("never").isEqualTo(Value::list({})));

    saveDictionaryWithKey({{"d", Value::date(Date{1.5})}}, "dictionary");
    EXPECT_TRUE(mutableDictionaryWithType("dictionary")
                    .isEqualTo(Value::dictionary({{"d", Value::date(Date{1.5})}})));
    EXPECT_TRUE(mutableDictionaryWithType("never").isEqualTo(Value::dictionary({})));
}

TEST_F(Persistence, RecordsAreSavedAsAList) {
    const auto record = std::make_shared<VMRDeviceData>();
    record->setNbLaunchesSinceBeginning(7);
    RecordList records;
    records.push_back(record);
    records.push_back(record);
    saveArrayWithKey(records, "records");
    const Value loaded = deviceDataArrayWithType("records");
    ASSERT_EQ(loaded.asList()->size(), 2u);
    const auto back = recordOfClass<VMRDeviceData>(loaded.asList()->at(1));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->nbLaunchesSinceBeginning(), 7);
}

TEST_F(Persistence, DecodedRootOfAnotherTypeIsHandedOut) {
    saveDictionaryWithKey({{"k", Value::integer(1)}}, "key");
    EXPECT_NE(deviceDataArrayWithType("key").asDictionary(), nullptr);
    storeArchive(archivedDataWithRootObject(Value()), "key");
    EXPECT_NE(deviceDataArrayWithType("key").asList(), nullptr);
}

TEST_F(Persistence, UnreadableBytesReadAsAbsentAndAreKeptOnce) {
    putBytes("no archive", "key");
    for (int read = 0; read < 2; ++read)
        EXPECT_TRUE(deviceDataArrayWithType("key").isEqualTo(Value::list({})));
    expectKept("key.unreadable", "no archive");
    expectKept("key", "no archive");
    ASSERT_EQ(services.log->lines().size(), 1u);
    EXPECT_EQ(services.log->countContaining("\"key.unreadable\""), 1u);
    EXPECT_EQ(services.preferences->writes("key.unreadable"), 1);
}

TEST_F(Persistence, NothingUnreadableIsOverwritten) {
    // Another process may have put it there after this one looked.
    saveArrayWithKey(List(), "key");
    putBytes("first", "key");
    saveArrayWithKey(List(), "key");
    expectKept("key.unreadable", "first");

    services.preferences->setObject(Value::string("second, and no bytes"), "key");
    saveArrayWithKey(List(), "key");
    expectKept("key.unreadable", "first");
    EXPECT_EQ(stored("key.unreadable.2").description(), "second, and no bytes");
    EXPECT_TRUE(deviceDataArrayWithType("key").isEqualTo(Value::list({})));
}

TEST_F(Persistence, DatesAreStoredAsTheyAre) {
    EXPECT_EQ(dateOrDistantPast(savedDateOrDistantPastForKey("key")), Date::distantPast());
    EXPECT_TRUE(savedDateOrNilForKey("key").isAbsent());

    saveDateForKey(Date{12.25}, "key");
    ASSERT_NE(stored("key").asDate(), nullptr);
    EXPECT_EQ(dateOrDistantPast(savedDateOrDistantPastForKey("key")), Date{12.25});

    saveDateForKey(std::nullopt, "key");
    EXPECT_TRUE(stored("key").isAbsent());

    // What is no date is handed out, but counts as never.
    services.preferences->setObject(Value::string("yesterday"), "key");
    EXPECT_EQ(savedDateOrDistantPastForKey("key").description(), "yesterday");
    EXPECT_EQ(dateOrDistantPast(savedDateOrDistantPastForKey("key")), Date::distantPast());
}

TEST_F(Persistence, EveryWriteIsFlushedOnSystemsBefore9_3) {
    const std::vector<std::function<void()>> writes{
        [] { saveArrayWithKey(List(), "list"); },   [] { saveDictionaryWithKey({}, "dictionary"); },
        [] { saveDateForKey(Date{}, "date"); },     [] { VMRDeviceData().saveData(); },
        [] { VMRDeviceDataManager().saveVMRId(); },
    };
    for (const auto &[version, flushes] : {std::pair("9.2.9", 1), {"9.3", 0}}) {
        services.device->version = version;
        for (const auto &write : writes) {
            const int before = services.preferences->synchronizations();
            write();
            EXPECT_EQ(services.preferences->synchronizations() - before, flushes) << version;
        }
    }
}

TEST_F(Persistence, DeviceRecordSurvivesASave) {
    EXPECT_EQ(VMRDeviceData::savedData(), nullptr);
    VMRDeviceData().saveData();
    const auto same = VMRDeviceData::savedData();
    EXPECT_FALSE(same->isSdkEnabled());

    const Value parameters = Value::dictionary(
        {{"n", Value::dictionary({{"x", Value::real(0.5)}})}, {"t", Value::string("é")}});
    same->setIsSdkEnabled(true);
    same->setFirstLaunchDate(Date{1614866767.25});
    same->setNbLaunchesSinceBeginning(INT64_MAX);
    same->setLastUpdateDeviceParametersSent(parameters);
    same->saveData();
    const auto changed = VMRDeviceData::savedData();
    EXPECT_TRUE(changed->isSdkEnabled());
    EXPECT_EQ(changed->firstLaunchDate(), Date{1614866767.25});
    EXPECT_EQ(changed->nbLaunchesSinceBeginning(), INT64_MAX);
    EXPECT_TRUE(changed->lastUpdateDeviceParametersSent().isEqualTo(parameters));
}

TEST_F(Persistence, RecordWithoutFieldsCountsAsEnabled) {
    const Dictionary fromBeforeAnyField;
    const auto decoded = VMRDeviceData::initWithCoder(KeyedDecoder(fromBeforeAnyField));
    const auto record = std::static_pointer_cast<VMRDeviceData>(decoded);
    EXPECT_TRUE(record->isSdkEnabled());
    EXPECT_EQ(record->firstLaunchDate(), std::nullopt);
    EXPECT_EQ(record->nbLaunchesSinceBeginning(), 0);
    EXPECT_TRUE(record->lastUpdateDeviceParametersSent().isAbsent());
}

TEST_F(Persistence, ArchiveOfSomethingElseIsNoDeviceRecordAndIsKept) {
    saveArrayWithKey(List(), DeviceDataKey);
    const std::string bytes(stored(DeviceDataKey).asData()->bytes());
    EXPECT_EQ(VMRDeviceData::savedData(), nullptr);
    VMRDeviceData().saveData();
    expectKept("VMRDeviceData.unreadable", bytes);
}

} // namespace
} // namespace vmr::test
