#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

#include <initializer_list>

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

class PreferencesLostFileTests : public PreferencesTest {
protected:
    void remove(std::initializer_list<const char *> suffixes) {
        for (const char *suffix : suffixes)
            std::filesystem::remove(path + suffix);
    }
    std::string stored(const std::string &key) {
        return OtherConnection(path).text("SELECT value FROM preferences WHERE key='" + key + "'");
    }
    std::size_t told() { return log->countContaining("was removed or replaced while in use"); }
};

TEST_F(PreferencesLostFileTests, WritesAfterARemovalAreKept) {
    for (const auto &suffixes : {std::initializer_list<const char *>{""},
                                 {"", "-wal", "-shm"},
                                 {"", "-wal", "-shm", "-lock"},
                                 {"-wal"}}) {
        log->clear();
        const auto preferences = open();
        preferences->setObject(Value::string("before"), "old");
        remove(suffixes);
        preferences->setObject(Value::string("after"), "new");
        EXPECT_EQ(stored("old"), "before");
        EXPECT_EQ(stored("new"), "after");
        EXPECT_EQ(log->lines().size(), 1u);
        EXPECT_EQ(told(), 1u);
        // The new file is watched as the old one was.
        OtherConnection(path).execute("UPDATE preferences SET value='theirs' WHERE key='old'");
        EXPECT_TRUE(runUntil([&] { return preferences->stringForKey("old") == "theirs"; }));
        preferences->synchronize();
    }
}

TEST_F(PreferencesLostFileTests, ARemovedFileIsNoticedWithoutAWrite) {
    const auto preferences = open();
    preferences->setObject(Value::string("kept"), "key");
    remove({"", "-wal", "-shm"});
    ASSERT_TRUE(runUntil([&] { return told() == 1; }));
    ASSERT_TRUE(await([&] { return std::filesystem::exists(path + "-wal"); }));
    EXPECT_TRUE(await([&] { return stored("key") == "kept"; }));
}

TEST_F(PreferencesLostFileTests, AViewerBringsNoRemovedFileBack) {
    { open()->setObject(Value::string("erased"), "key"); }
    SQLitePreferencesOptions viewing = options();
    viewing.isTool = true;
    const auto viewer = SQLitePreferences::make(viewing);
    const auto observer = std::make_shared<RecordingObserver>();
    viewer->addObserver(observer, "key", nullptr);
    remove({"", "-wal", "-shm"});
    ASSERT_TRUE(runUntil([&] { return told() == 1; }));
    viewer->setObject(Value::string("new"), "other");
    EXPECT_FALSE(viewer->synchronize());
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(PreferencesLostFileTests, WritesAfterAReplacementAreKept) {
    const std::string spare = folder + "/spare";
    {
        OtherConnection other(spare);
        other.execute("CREATE TABLE preferences(key TEXT PRIMARY KEY NOT NULL, type TEXT NOT NULL,"
                      "value); PRAGMA user_version=1;"
                      "INSERT INTO preferences VALUES('both','string','theirs'),"
                      "('theirs','string','theirs')");
    }
    const auto preferences = open();
    const auto observer = std::make_shared<RecordingObserver>();
    preferences->addObserver(observer, "both", nullptr);
    preferences->setObject(Value::string("mine"), "both");
    preferences->setObject(Value::string("mine"), "mine");
    std::filesystem::rename(spare, path);
    preferences->setObject(Value::string("new"), "new");
    EXPECT_EQ(stored("mine"), "mine");
    EXPECT_EQ(stored("new"), "new");
    EXPECT_EQ(stored("both"), "theirs");
    EXPECT_EQ(preferences->stringForKey("theirs"), "theirs");
    EXPECT_EQ(told(), 1u);
    EXPECT_TRUE(runUntil([&] { return observer->calls.size() == 2; }));
    EXPECT_EQ(OtherConnection(path).text("PRAGMA integrity_check"), "ok");
}

TEST_F(PreferencesLostFileTests, TheListsOfAReplacedFileAreKeptAndAddedTo) {
    const std::string place = path;
    for (const bool isOfVersion1 : {false, true}) {
        path = folder + "/spare";
        if (isOfVersion1)
            makeVersion1("('list','data'," + archiveSQL({"theirs"}) + ")");
        else
            open()->setObject(archiveOf(notes({"theirs"})), "list");
        path = place;
        const auto preferences = open();
        RecordList list = notes({"mine"});
        preferences->setObject(archiveOf(list), "list");
        std::filesystem::rename(folder + "/spare", path);
        preferences->setObject(Value::string("new"), "new");
        EXPECT_EQ(textsOf(open()->objectForKey("list")), (Texts{"theirs", "mine"}));
        list.push_back(std::make_shared<Note>("more"));
        preferences->setObject(archiveOf(list), "list");
        EXPECT_EQ(textsOf(open()->objectForKey("list")), (Texts{"theirs", "mine", "more"}));
        remove({"", "-wal", "-shm"});
    }
}

TEST_F(PreferencesLostFileTests, WritesAfterACutAreKept) {
    for (const auto &[suffix, left] : {std::pair{"", 0}, {"-wal", 0}, {"-wal", 4000}}) {
        {
            const auto preferences = open();
            preferences->setObject(archiveOf(notes({"before"})), "list");
            preferences->synchronize();
            // What others do to the log is no cut.
            OtherConnection(path).execute("PRAGMA wal_checkpoint(TRUNCATE)");
            preferences->setObject(Value::string("before"), "old");
            EXPECT_EQ(log->lines(), Texts());
            ASSERT_EQ(::truncate((path + suffix).c_str(), left), 0);
            preferences->setObject(Value::string("after"), "new");
            EXPECT_EQ(log->countContaining("was cut or overwritten while in use"), 1u);
        }
        const auto next = open();
        EXPECT_EQ(textsOf(next->objectForKey("list")), Texts{"before"}) << suffix << left;
        EXPECT_EQ(next->stringForKey("old"), "before") << suffix << left;
        EXPECT_EQ(next->stringForKey("new"), "after") << suffix << left;
        EXPECT_EQ(log->lines().size(), 1u);
        remove({"", "-wal", "-shm"});
        log->clear();
    }
}

TEST_F(PreferencesLostFileTests, AFileThatBecameUnusableKeepsTheStateInMemory) {
    const auto preferences = open();
    preferences->setObject(Value::string("kept"), "key");
    remove({"", "-wal", "-shm"});
    std::filesystem::create_directory(path);
    preferences->setObject(Value::string("new"), "new");
    preferences->synchronize();
    preferences->setObject(Value::string("newer"), "new");
    EXPECT_EQ(preferences->stringForKey("key"), "kept");
    EXPECT_EQ(log->countContaining("not a regular file"), 1u);
    EXPECT_EQ(log->lines().size(), 2u);
}

} // namespace
} // namespace vmr::test
