#include "linux/Faults.h"
#include "linux/Note.h"
#include "linux/PreferencesFixture.h"
#include "platform/linux/preferences/PreferencesOwnership.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <csignal>
#include <future>

namespace vmr::test {
namespace {

using Changes = SQLitePreferences::Changes;

/// Several threads and processes at one store.
class PreferencesTurnTests : public PreferencesTest {
protected:
    /// Takes charge of the store; what it is handed over is in `handedOver`.
    void work(SQLitePreferences &preferences) {
        preferences.work([&] {
            preferences.seeToHandovers([&](const Changes &handovers) {
                isStarted = true;
                for (const PreferencesChange &one : handovers)
                    handedOver.push_back(one.after.description());
            });
        });
    }

    bool isStarted = false;
    std::vector<std::string> handedOver;
};

TEST_F(PreferencesTurnTests, NoThreadWritesAPartOfWhatAnotherOneSets) {
    const auto preferences = open();
    std::promise<void> isHalfSet;
    std::promise<void> mayGoOn;
    const auto observer = std::make_shared<FunctionObserver>();
    observer->call = [&](const Dictionary &) {
        isHalfSet.set_value();
        mayGoOn.get_future().wait();
        preferences->setObject(Value::integer(1), "second half");
    };
    preferences->addObserver(observer, "first half", nullptr);
    std::thread other;
    {
        const auto whole = preferences->transaction();
        other = std::thread([&] { preferences->setObject(Value::integer(1), "first half"); });
        isHalfSet.get_future().wait(); // it waited for this one, in vain
        preferences->setObject(Value::integer(1), "mine");
    }
    EXPECT_FALSE(preferences->synchronize());
    OtherConnection reader(path);
    EXPECT_EQ(reader.text("SELECT count(*) FROM preferences WHERE key='first half'"), "0");
    mayGoOn.set_value();
    other.join();
    EXPECT_TRUE(await([&] { return reader.text("SELECT count(*) FROM preferences") == "3"; }));
}

TEST_F(PreferencesTurnTests, WhatAnObserverSynchronizesIsWrittenWithTheRest) {
    const auto preferences = open();
    OtherConnection reader(path);
    const auto stored = [&] { return reader.text("SELECT group_concat(key) FROM preferences"); };
    preferences->setObject(Value::integer(0), "first");
    int syncs = 0;
    const auto observer = std::make_shared<FunctionObserver>();
    observer->call = [&](const Dictionary &) {
        syncs = countOf(Call::sync);
        EXPECT_TRUE(preferences->synchronize());
        EXPECT_EQ(stored(), "first");
        preferences->setObject(Value::integer(2), "third");
    };
    preferences->addObserver(observer, "second", nullptr);
    preferences->setObject(Value::integer(1), "second");
    EXPECT_EQ(stored(), "first,second,third");
    EXPECT_GT(countOf(Call::sync), syncs);
}

TEST_F(PreferencesTurnTests, AStartWaitsForTheProgramThatHoldsTheFile) {
    { open()->setObject(Value::string("a"), "last"); }
    auto holder = std::make_unique<OtherConnection>(path);
    holder->execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
    const auto preferences = open();
    std::string last;
    preferences->work([&] {
        last = preferences->stringForKey("last").value_or("");
        preferences->seeToHandovers(
            [&](const auto &all) { EXPECT_EQ(all.size(), 1u) << "what was set meanwhile"; });
    });
    EXPECT_EQ(last, "");
    preferences->setObject(Value::string("b"), "key");
    const auto second = open();
    second->work([&] { last = second->stringForKey("last").value_or(""); });
    holder.reset();
    EXPECT_TRUE(runUntil([&] { return last == "a"; }));
    EXPECT_TRUE(runUntil([&] { return log->countContaining("This one waits") == 1; }));
}

TEST_F(PreferencesTurnTests, AForkedChildThatLivesOnDoesNotKeepTheStore) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(inChild([&] {
                  const auto preferences = open();
                  preferences->work([&] { isStarted = true; });
                  const pid_t child = ::fork();
                  if (child == 0)
                      ::pause();
                  const bool isTold = ::write(ends[1], &child, sizeof child) == sizeof child;
                  ::_exit(isStarted && isTold ? 0 : 1);
                  return 1;
              }),
              0);
    pid_t child = -1;
    ASSERT_EQ(::read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    const auto preferences = open();
    work(*preferences);
    EXPECT_TRUE(isStarted);
    ::kill(child, SIGKILL);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(PreferencesTurnTests, AStartWaitsForTheThreadThatHasTheStore) {
    { open()->setObject(Value::integer(1), "other"); }
    OtherConnection(path).execute("INSERT INTO handovers(key,type,value) VALUES"
                                  "('key','string','a')");
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    preferences->addObserver(observer, "key", nullptr);
    std::promise<void> hasIt;
    std::promise<void> mayLeave;
    std::thread other([&] {
        const auto whole = preferences->transaction();
        hasIt.set_value();
        mayLeave.get_future().wait();
    });
    hasIt.get_future().wait();
    work(*preferences);
    EXPECT_FALSE(isStarted);
    preferences->setObject(Value::string("b"), "key");
    mayLeave.set_value();
    other.join();
    EXPECT_TRUE(runUntil([&] { return isStarted; }));
    EXPECT_EQ(handedOver, (std::vector<std::string>{"a", "b"}));
    // And what comes later is told.
    observer->calls.clear();
    OtherConnection(path).execute("INSERT INTO handovers(key,type,value) VALUES"
                                  "('key','string','c')");
    EXPECT_TRUE(runUntil([&] { return observer->calls.size() == 1; }));
    EXPECT_TRUE(preferences->synchronize());
    EXPECT_EQ(OtherConnection(path).text("SELECT count(*) FROM handovers"), "0");
}

TEST_F(PreferencesTurnTests, OnlyHandoversOfWatchedKeysAreSeenTo) {
    { open()->setObject(Value::integer(1), "other"); }
    OtherConnection other(path);
    other.execute("INSERT INTO handovers(number,key,type,value) VALUES(-7,'key','string','first'),"
                  "(4611686018427387903,'foreign','string','x'),(5,'key','string','second'),"
                  "(9223372036854775807,'key','string','x')");
    const auto first = open();
    work(*first);
    EXPECT_EQ(handedOver, (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(log->countContaining("\"foreign, handover 4611686018427387903\""), 1u);
    EXPECT_EQ(log->countContaining("cannot be understood"), 2u);
    EXPECT_EQ(other.text("SELECT group_concat(number) FROM handovers"),
              "4611686018427387903,9223372036854775807");
    // Numbers go on from those that can be gone on from.
    const auto second = open();
    second->work([] { FAIL() << "the first one works it"; });
    second->setObject(Value::string("third"), "key");
    const auto observer = std::make_shared<RecordingObserver>();
    first->addObserver(observer, "key", nullptr);
    EXPECT_TRUE(runUntil([&] { return !observer->calls.empty(); }));
    EXPECT_EQ(observer->calls[0].after.description(), "third");
}

TEST_F(PreferencesTurnTests, TheLockFileIsHeldOpenAndNotOpenedAnew) {
    const auto nextDescriptor = [] {
        const int descriptor = ::dup(STDERR_FILENO);
        ::close(descriptor);
        return descriptor;
    };
    PreferencesOwnership ownership(path);
    EXPECT_TRUE(ownership.takeWork().value_or(false));
    const int next = nextDescriptor();
    EXPECT_EQ(ownership.rival(), std::nullopt);
    EXPECT_EQ(nextDescriptor(), next);
    std::filesystem::remove(path + "-lock");
    EXPECT_EQ(ownership.rival(), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(path + "-lock"));
    EXPECT_NE(nextDescriptor(), next);
}

TEST_F(PreferencesTurnTests, WhoCannotTellWhetherAnotherOneIsInChargeWaits) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers need descriptors of their own";
#endif
    { open()->setObject(Value::integer(1), "other"); }
    const auto preferences = open();
    EXPECT_EQ(preferences->objectForKey("other").integerValue(), 1);
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    work(*preferences);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_FALSE(isStarted);
    EXPECT_EQ(log->countContaining("-lock cannot be opened now"), 1u);
    preferences->setObject(Value::string("meanwhile"), "key");
    EXPECT_TRUE(runUntil([&] { return isStarted; }));
    EXPECT_EQ(handedOver, std::vector<std::string>{"meanwhile"});
}

TEST_F(PreferencesTurnTests, SetsWithoutAPauseLeaveTheLogBounded) {
    const auto preferences = open();
    std::uintmax_t longest = 0;
    for (int set = 0; set < 15'000; ++set) {
        const char letter = static_cast<char>('a' + set % 26); // the same is not written again
        preferences->setObject(Value::string(std::string(6000, letter)), "key");
        if (set % 100 == 0)
            longest = std::max(longest, std::filesystem::file_size(path + "-wal"));
    }
    EXPECT_GT(longest, 30'000'000u);
    EXPECT_LT(longest, 70'000'000u);
}

} // namespace
} // namespace vmr::test
