#include "linux/PreferencesFixture.h"
#include "platform/linux/preferences/PreferencesDisk.h"

#include <future>

namespace vmr::test {
namespace {

class PreferencesHeldFileTests : public PreferencesTest {
protected:
    ~PreferencesHeldFileTests() override { background.stop(); }

    const SQLitePreferencesOptions settings = options();
    PreferencesMemory memory;
    PreferencesOwnership ownership{path};
    PreferencesSync sync{path};
    PreferencesWorker background{[](PreferencesWorker::Job) {}, [](PreferencesWorker::Duration) {}};
    PreferencesDisk disk{settings, path, memory, ownership, sync, background};
};

TEST_F(PreferencesHeldFileTests, AHeldFileIsWrittenAsSoonAsItIsFree) {
    const auto preferences = open();
    preferences->setObject(Value::integer(0), "key");
    OtherConnection other(path);
    other.execute("BEGIN IMMEDIATE");
    for (int i = 1; i <= 100; ++i)
        preferences->setObject(Value::integer(i), "key");
    EXPECT_EQ(preferences->objectForKey("key").integerValue(), 100);
    EXPECT_EQ(other.text("SELECT value FROM preferences"), "0");
    EXPECT_EQ(log->countContaining("is held by another process"), 1u);
    other.execute("COMMIT");
    EXPECT_TRUE(await([&] { return other.text("SELECT value FROM preferences") == "100"; }));
    EXPECT_TRUE(await([&] { return log->countContaining("can be used again") == 1; }));
}

TEST_F(PreferencesHeldFileTests, WhatHappensMeanwhilePutsTheNextTryNotOff) {
    const auto now = std::chrono::steady_clock::now();
    ASSERT_TRUE(disk.ready(now));
    OtherConnection other(path);
    other.execute("BEGIN IMMEDIATE");
    memory.put("key", Value::integer(1));
    for (int set = 0; set < 100; ++set)
        disk.save(now);
    EXPECT_TRUE(memory.hasUnwritten());
    EXPECT_LT(disk.timeUntilRetry(), std::chrono::seconds(2));
    EXPECT_EQ(disk.takeNews().lines.size(), 1u);
    // That others' writes can be read does not mean that ours can be written.
    other.execute("INSERT INTO preferences VALUES('theirs','integer',1); COMMIT");
    disk.lookForForeignWrites(now);
    EXPECT_EQ(disk.takeDifferences().size(), 1u);
    EXPECT_TRUE(disk.takeNews().lines.empty());
    EXPECT_TRUE(disk.isTroubled());
}

TEST_F(PreferencesHeldFileTests, WhatCanOnlyBeReadAgainIsStillHeld) {
    open()->setObject(Value::integer(0), "key");
    const auto now = std::chrono::steady_clock::now();
    memory.put("key", Value::integer(1));
    {
        OtherConnection holder(path);
        holder.execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
        disk.save(now);
    }
    OtherConnection writer(path);
    writer.execute("BEGIN IMMEDIATE");
    disk.lookForForeignWrites(now);
    disk.save(now);
    EXPECT_EQ(disk.takeNews().lines.size(), 1u);
    writer.execute("COMMIT");
    disk.save(now);
    EXPECT_EQ(disk.takeNews().lines.size(), 1u);
    EXPECT_EQ(writer.text("SELECT value FROM preferences"), "1");
}

TEST_F(PreferencesHeldFileTests, WhoOnlyLooksIsToldWhoWorksTheStore) {
    PreferencesOwnership worker(path);
    EXPECT_EQ(PreferencesOwnership(path).worker(), std::nullopt);
    EXPECT_EQ(worker.takeWork(), true);
    EXPECT_EQ(PreferencesOwnership(path).worker(), ::getpid());
    worker.leaveWork();
    EXPECT_EQ(PreferencesOwnership(path).worker(), std::nullopt);
}

TEST_F(PreferencesHeldFileTests, SynchronizeWaitsForTheFileAndTellsWhenItCouldNot) {
    const auto preferences = open();
    preferences->setObject(Value::integer(0), "key");
    EXPECT_TRUE(preferences->synchronize());
    OtherConnection other(path);
    other.execute("BEGIN IMMEDIATE");
    preferences->setObject(Value::integer(1), "key");
    EXPECT_FALSE(preferences->synchronize());
    auto done = std::async(std::launch::async, [&] {
        return preferences->synchronizeWithin(std::chrono::seconds(60));
    });
    EXPECT_EQ(done.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    other.execute("COMMIT");
    EXPECT_TRUE(done.get());
    EXPECT_EQ(other.text("SELECT value FROM preferences"), "1");
    // Nobody's log is flushed for a store without a place.
    if (::geteuid() != 0)
        return;
    std::ofstream(folder + "/-wal").close();
    EXPECT_EQ(inChild([&] {
                  ::unsetenv("HOME");
                  ::unsetenv("XDG_STATE_HOME");
                  path.clear();
                  return ::chdir(folder.c_str()) == 0 && ::setuid(12345) == 0 &&
                                 !open()->synchronize()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(PreferencesHeldFileTests, AFileHeldAtOpeningIsReadLater) {
    for (const char *mine : {"stored", "set"}) {
        {
            const auto preferences = open();
            preferences->setObject(Value::string("stored"), "mine");
            preferences->setObject(Value::string("stored"), "other");
        }
        auto holder = std::make_unique<OtherConnection>(path);
        holder->execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
        const auto preferences = open();
        const auto observer = std::make_shared<RecordingObserver>();
        preferences->addObserver(observer, "other", nullptr);
        EXPECT_TRUE(preferences->objectForKey("other").isAbsent());
        if (mine == std::string("set"))
            preferences->setObject(Value::string(mine), "mine");
        holder.reset();
        ASSERT_TRUE(runUntil([&] { return !observer->calls.empty(); }));
        EXPECT_EQ(preferences->stringForKey("other"), "stored");
        EXPECT_EQ(preferences->stringForKey("mine"), mine);
        EXPECT_EQ(OtherConnection(path).text("SELECT value FROM preferences WHERE key='mine'"),
                  mine);
    }
}

} // namespace
} // namespace vmr::test
