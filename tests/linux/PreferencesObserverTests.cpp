#include "linux/PreferencesFixture.h"

#include <new>
#include <stdexcept>

namespace vmr::test {
namespace {

using PreferencesObserverTests = PreferencesTest;

TEST_F(PreferencesObserverTests, OldAndNewAreTheObjectsThemselves) {
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    const Value first = Value::string("a");
    const Value equal = Value::string("a");
    preferences->addObserver(observer, "key", &folder);
    preferences->setObject(first, "key");
    preferences->setObject(equal, "key");
    preferences->setObject(Value::integer(1), "other");
    preferences->removeObjectForKey("key");
    preferences->removeObjectForKey("key");
    ASSERT_EQ(observer->calls.size(), 3u);
    EXPECT_TRUE(observer->calls[0].before.isNull());
    EXPECT_TRUE(observer->calls[0].after.isIdenticalTo(first));
    EXPECT_EQ(observer->calls[0].context, &folder);
    EXPECT_TRUE(observer->calls[1].before.isIdenticalTo(first));
    EXPECT_TRUE(observer->calls[1].after.isIdenticalTo(equal));
    EXPECT_TRUE(observer->calls[2].before.isIdenticalTo(equal));
    EXPECT_TRUE(observer->calls[2].after.isNull());
}

TEST_F(PreferencesObserverTests, EachRegistrationIsCalledOnceInOrder) {
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    auto gone = std::make_shared<RecordingObserver>();
    int one = 0;
    int two = 0;
    preferences->addObserver(gone, "key", nullptr);
    preferences->addObserver(observer, "key", &one);
    preferences->addObserver(observer, "", &two);
    preferences->addObserver(observer, "key", &two);
    gone.reset();
    preferences->setObject(Value::integer(1), "key");
    ASSERT_EQ(observer->calls.size(), 3u);
    EXPECT_EQ(observer->calls[0].context, &one);
    EXPECT_EQ(observer->calls[1].context, &two);
    preferences->removeObserver(observer.get(), "key");
    preferences->removeObserver(observer.get(), "");
    preferences->setObject(Value::integer(2), "key");
    ASSERT_EQ(observer->calls.size(), 4u);
    EXPECT_EQ(observer->calls[3].context, &one);
    preferences->removeObserver(observer.get(), "key");
    EXPECT_THROW(preferences->removeObserver(observer.get(), "key"), ObserverNotRegistered);
}

TEST_F(PreferencesObserverTests, MayWriteAndMayThrow) {
    const auto preferences = open();
    const auto throwing = std::make_shared<FunctionObserver>();
    throwing->call = [](const Dictionary &) { throw std::runtime_error("a host's fault"); };
    const auto nesting = std::make_shared<FunctionObserver>();
    nesting->call = [&](const Dictionary &change) {
        preferences->setObject(change.at("new"), "copy");
    };
    preferences->addObserver(throwing, "key", nullptr);
    preferences->addObserver(nesting, "key", nullptr);
    preferences->setObject(Value::integer(7), "key");
    EXPECT_EQ(preferences->objectForKey("copy").integerValue(), 7);
    EXPECT_EQ(log->countContaining("a host's fault"), 1u);
    // What an observer had no memory for is not done: that must not look like a success.
    throwing->call = [](const Dictionary &) { throw std::bad_alloc(); };
    EXPECT_THROW(preferences->setObject(Value::integer(8), "key"), std::bad_alloc);
    EXPECT_EQ(preferences->objectForKey("copy").integerValue(), 8);
}

TEST_F(PreferencesObserverTests, AnotherProgramsWritesArriveOnTheMainRunLoop) {
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    preferences->addObserver(observer, "", nullptr);
    preferences->setObject(Value::string("old"), "IABTCF_TCString");
    preferences->setObject(Value::integer(1), "mine");
    const Value mine = preferences->objectForKey("mine");
    observer->calls.clear();
    // A program of its own, as a consent tool's script is.
    const std::string command =
        "sqlite3 -cmd '.timeout 20000' '" + path +
        "' \"PRAGMA wal_autocheckpoint=0; INSERT INTO preferences VALUES"
        "('IABTCF_TCString','string','new'),('fresh','integer',3),('bad','unknown',3) "
        "ON CONFLICT(key) DO UPDATE SET type=excluded.type,value=excluded.value; "
        "DELETE FROM preferences WHERE key='mine'\" >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    ASSERT_TRUE(runUntil([&] { return preferences->objectForKey("mine").isAbsent(); }));
    ASSERT_EQ(observer->calls.size(), 3u);
    EXPECT_EQ(preferences->stringForKey("IABTCF_TCString"), "new");
    EXPECT_EQ(observer->calls[0].before.description(), "old");
    EXPECT_EQ(observer->calls[0].after.description(), "new");
    EXPECT_EQ(log->countContaining("\"bad\""), 1u);
    // It is left alone, and not told again.
    OtherConnection other(path);
    other.execute("UPDATE preferences SET value=4 WHERE key='fresh'");
    ASSERT_TRUE(runUntil([&] { return preferences->objectForKey("fresh").integerValue() == 4; }));
    EXPECT_EQ(other.text("SELECT type FROM preferences WHERE key='bad'"), "unknown");
    EXPECT_EQ(log->lines().size(), 1u);
}

TEST_F(PreferencesObserverTests, OwnWritesDoNotHideOthers) {
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    preferences->setObject(Value::integer(1), "mine");
    preferences->addObserver(observer, "theirs", nullptr);
    OtherConnection other(path);
    for (int i = 1; i <= 50; ++i) {
        other.execute("INSERT OR REPLACE INTO preferences VALUES('theirs','integer'," +
                      std::to_string(i) + ")");
        preferences->setObject(Value::integer(i), "mine");
    }
    EXPECT_TRUE(runUntil([&] { return preferences->objectForKey("theirs").integerValue() == 50; }));
    EXPECT_FALSE(observer->calls.empty());
    EXPECT_EQ(preferences->objectForKey("mine").integerValue(), 50);
}

TEST_F(PreferencesObserverTests, AWriteOfAValueThatAnotherProgramReplacedIsWritten) {
    const auto preferences = open();
    preferences->setObject(Value::string("mine"), "key");
    OtherConnection other(path);
    other.execute("UPDATE preferences SET value='theirs'");
    preferences->setObject(Value::string("mine"), "key");
    EXPECT_EQ(other.text("SELECT value FROM preferences"), "mine");
}

TEST_F(PreferencesObserverTests, ABlobThatLooksLikeAKeyHidesNoKey) {
    { open()->setObject(Value::string("right"), "ab"); }
    OtherConnection other(path);
    other.execute("INSERT INTO preferences VALUES(x'6162','string','wrong')");
    const auto preferences = open();
    EXPECT_EQ(preferences->stringForKey("ab"), "right");
    for (const char *value : {"1", "2"}) {
        other.execute(std::string("REPLACE INTO preferences VALUES('key','string','") + value +
                      "')");
        EXPECT_TRUE(runUntil([&] { return preferences->stringForKey("key") == value; }));
        EXPECT_EQ(preferences->stringForKey("ab"), "right");
    }
    EXPECT_EQ(log->lines().size(), 1u);
    EXPECT_EQ(log->countContaining("ab\" of "), 1u);
}

TEST_F(PreferencesObserverTests, AnObserverMayDestroyTheStore) {
    auto preferences = open();
    int calls = 0;
    const auto observer = std::make_shared<FunctionObserver>();
    observer->call = [&](const Dictionary &) {
        ++calls;
        preferences.reset();
    };
    preferences->addObserver(observer, "", nullptr);
    OtherConnection(path).execute("INSERT INTO preferences VALUES('a','integer',1),"
                                  "('b','integer',2)");
    EXPECT_TRUE(runUntil([&] { return calls == 2; }));
}

} // namespace
} // namespace vmr::test
