#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

#include <sys/resource.h>

#include <csignal>
#include <fstream>

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

/// A file of version 1, where a list of records was one value.
class PreferencesVersion1Tests : public PreferencesTest {
protected:
    static void add(SQLitePreferences &preferences, const std::string &text) {
        RecordList list = *preferences.objectForKey("list").asData()->records();
        list.push_back(std::make_shared<Note>(text));
        preferences.setObject(archiveOf(list), "list");
    }
    std::shared_ptr<SQLitePreferences> openAsTool() {
        SQLitePreferencesOptions asTool = options();
        asTool.isTool = true;
        return SQLitePreferences::make(std::move(asTool));
    }
    Texts stored() { return textsOf(open()->objectForKey("list")); }
    std::string version() { return OtherConnection(path).text("PRAGMA user_version"); }
};

TEST_F(PreferencesVersion1Tests, ACompanionTakesItOverForWhatOnlyRowsCanHold) {
    makeVersion1("('list','data'," + archiveSQL({"a", "b"}) + ")");
    openAsTool()->setObject(Value::integer(1), "other");
    EXPECT_EQ(version(), "1");
    add(*openAsTool(), "c");
    EXPECT_EQ(version(), "2");
    EXPECT_EQ(stored(), (Texts{"a", "b", "c"}));
}

TEST_F(PreferencesVersion1Tests, ACompanionErasesWhatWasTakenOverMeanwhile) {
    makeVersion1("('key','data'," + archiveSQL({"a"}) + ")");
    const auto tool = openAsTool();
    EXPECT_FALSE(tool->objectForKey("key").isAbsent());
    open()->setObject(Value::integer(1), "other");
    EXPECT_TRUE(tool->erase(std::vector<std::string_view>{"key"}));
    EXPECT_EQ(OtherConnection(path).text("SELECT count(*) FROM records"), "0");
}

TEST_F(PreferencesVersion1Tests, ACompanionHandsOver) {
    makeVersion1("('list','data'," + archiveSQL({"a", "b"}) + ")");
    const auto worker = open();
    const auto observer = std::make_shared<RecordingObserver>();
    worker->work([&] { worker->seeToHandovers([](const auto &) {}); });
    worker->addObserver(observer, "key", nullptr);
    const auto tool = openAsTool();
    tool->work([] { FAIL() << "the worker works it"; });
    tool->setObject(Value::string("handed over"), "key");
    ASSERT_TRUE(runUntil([&] { return !observer->calls.empty(); }));
    EXPECT_EQ(observer->calls[0].after.description(), "handed over");
    EXPECT_EQ(stored(), (Texts{"a", "b"}));
}

TEST_F(PreferencesVersion1Tests, WhatIsNoListMakesRoomForOneAndIsKept) {
    for (const std::string value : {"'data',X'00'", "'string','text'"}) {
        makeVersion1("('list'," + value +
                     "),('list.unreadable','integer',7),('list.unread','data'," +
                     archiveSQL({"old"}) + ")");
        const Value before = open()->objectForKey("list.unreadable.2");
        EXPECT_FALSE(before.isAbsent());
        open()->setObject(Value::integer(1), "other");
        EXPECT_EQ(version(), "2");
        EXPECT_EQ(stored(), Texts{"old"});
        EXPECT_TRUE(open()->objectForKey("list.unreadable.2").isEqualTo(before));
        EXPECT_EQ(open()->objectForKey("list.unreadable").integerValue(), 7);
        std::filesystem::remove(path);
    }
}

TEST_F(PreferencesVersion1Tests, ADamagedOneIsReplacedByWhatCanBeRead) {
    makeVersion1("('list','data'," + archiveSQL({"a", "b"}) + "),('long','data',zeroblob(200000))");
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(25 * 4096);
        file << std::string(4096, '\xee');
    }
    {
        const auto preferences = open();
        add(*preferences, "c");
    }
    EXPECT_EQ(stored(), (Texts{"a", "b", "c"}));
    EXPECT_EQ(version(), "2");
}

TEST_F(PreferencesVersion1Tests, OnAFullDiskItStaysUntilThereIsRoom) {
    Texts texts(100, std::string(1000, 'x'));
    makeVersion1("('list','data'," + archiveSQL(texts) + ")");
    EXPECT_EQ(inChild([&] {
                  ::signal(SIGXFSZ, SIG_IGN);
                  rlimit limit{50'000, RLIM_INFINITY};
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  const auto preferences = open();
                  add(*preferences, "late");
                  EXPECT_FALSE(preferences->synchronize());
                  EXPECT_EQ(version(), "1");
                  EXPECT_EQ(textsOf(openAsTool()->objectForKey("list")), texts);
                  limit.rlim_cur = RLIM_INFINITY;
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  EXPECT_TRUE(preferences->synchronize());
                  return HasFailure() ? 1 : 0;
              }),
              0);
    texts.push_back("late");
    EXPECT_EQ(stored(), texts);
    EXPECT_EQ(version(), "2");
}

} // namespace
} // namespace vmr::test
