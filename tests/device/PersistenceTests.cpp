#include "device/Persistence.h"
#include "device/VMRDeviceData.h"
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
