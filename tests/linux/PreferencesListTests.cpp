#include "linux/Faults.h"
#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

/// Lists of records, which the file keeps as rows.
class PreferencesListTests : public PreferencesTest {
protected:
    static std::string rows(OtherConnection &other, const std::string &list = "list") {
        return other.text("SELECT group_concat(json_extract(fields,'$.text')) FROM "
                          "(SELECT * FROM records WHERE list='" +
                          list + "' ORDER BY number)");
    }
    Texts stored() { return textsOf(open()->objectForKey("list")); }
};

TEST_F(PreferencesListTests, ASaveWritesTheRowsThatDiffer) {
    const auto preferences = open();
    RecordList list = notes({"a", "b"});
    preferences->setObject(archiveOf(list), "list");
    OtherConnection other(path);
    const std::string first = other.text("SELECT min(number) FROM records");

    list.push_back(std::make_shared<Note>("c"));
    preferences->setObject(archiveOf(list), "list");
    EXPECT_EQ(rows(other), "a,b,c");
    EXPECT_EQ(other.text("SELECT min(number) FROM records"), first);

    RecordList branch = list; // of two lists that go on from one, each keeps its own
    list.dropFirst(2);
    list.push_back(std::make_shared<Note>("d"));
    branch.push_back(std::make_shared<Note>("e"));
    preferences->setObject(archiveOf(list), "list");
    EXPECT_EQ(rows(other), "c,d");
    preferences->setObject(archiveOf(branch), "list");
    EXPECT_EQ(rows(other), "a,b,c,e");

    preferences->setObject(archiveOf({}), "list");
    EXPECT_EQ(other.text("SELECT count(*) FROM records"), "0");
    EXPECT_FALSE(open()->objectForKey("list").isAbsent());
    preferences->setObject(archiveOf(notes({"f"})), "list");
    EXPECT_EQ(stored(), Texts{"f"});
    preferences->removeObjectForKey("list");
    EXPECT_EQ(other.text("SELECT count(*) FROM records"), "0");
    EXPECT_TRUE(open()->objectForKey("list").isAbsent());
}

TEST_F(PreferencesListTests, WhoAsksGetsTheBytesOfTheArchive) {
    const RecordList list = notes({"a", "\u00e4\n$\"'"});
    List values;
    for (std::size_t index = 0; index < list.size(); ++index)
        values.push_back(Value::record(list[index]));
    const Data bytes = archivedDataWithRootObject(Value::list(values));
    const auto preferences = open();
    preferences->setObject(archiveOf(list), "list");
    EXPECT_EQ(preferences->objectForKey("list").asData()->bytes(), bytes.bytes());
    EXPECT_EQ(open()->objectForKey("list").asData()->bytes(), bytes.bytes());
    // The host's own bytes are data, also under such a key.
    preferences->setObject(Value::data(Data(std::string(bytes.bytes()))), "list");
    OtherConnection other(path);
    EXPECT_EQ(other.text("SELECT type FROM preferences"), "data");
    EXPECT_EQ(other.text("SELECT count(*) FROM records"), "0");
    EXPECT_EQ(stored(), textsOf(archiveOf(list)));
}

TEST_F(PreferencesListTests, RowsFromOutsideAreReadAndKept) {
    { open()->setObject(archiveOf(notes({"mine", "damaged"})), "list"); }
    OtherConnection other(path);
    other.execute(
        "INSERT INTO records(list,class,fields) VALUES('list','Note','{\"text\":\"theirs\"}'),"
        "('list','Nothing','{}'),('list','Note','no JSON'),(7,'Note','{\"text\":\"x\"}');"
        "UPDATE records SET fields=replace(fields,'damaged','Damaged')");
    const auto preferences = open();
    EXPECT_EQ(textsOf(preferences->objectForKey("list")), (Texts{"mine", "theirs"}));
    EXPECT_EQ(log->countContaining("cannot be understood"), 3u);
    // What was not read when the list was, and what nobody can read, is nobody's to remove.
    other.execute(
        "INSERT INTO records(list,class,fields) VALUES('list','Note','{\"text\":\"late\"}')");
    preferences->setObject(archiveOf({}), "list");
    EXPECT_EQ(other.text("SELECT count(*) FROM records WHERE list='list'"), "4");
    EXPECT_EQ(stored(), Texts{"late"});
    other.execute("DELETE FROM preferences"); // the list's own entry
    EXPECT_EQ(stored(), Texts{"late"});
    other.execute("DELETE FROM records; DELETE FROM preferences");
    EXPECT_TRUE(stored().empty());
}

TEST_F(PreferencesListTests, ARowOfAHighNumberLeavesRoomForOurs) {
    { open()->setObject(archiveOf(notes({"mine"})), "list"); }
    OtherConnection other(path);
    const auto insert = [&](const std::string &number) {
        other.execute("INSERT INTO records(number,list,class,fields) VALUES(" + number +
                      ",'list','Note','{\"text\":\"" + number + "\"}')");
    };
    for (const char *number : {"20", "4611686018427387903", "10"})
        insert(number);
    const auto viewer = open();
    EXPECT_EQ(textsOf(viewer->objectForKey("list")),
              (Texts{"10", "20", "mine", "4611686018427387903"}));
    for (const char *text : {"a", "b", "c"}) {
        const auto preferences = open();
        RecordList list = *preferences->objectForKey("list").asData()->records();
        list.push_back(std::make_shared<Note>(text));
        preferences->setObject(archiveOf(list), "list");
        if (*text == 'b')
            insert("2305843009213693952"); // the first that ours do not go on from
    }
    EXPECT_EQ(stored(), (Texts{"10", "20", "mine", "4611686018427387903", "a", "b",
                               "2305843009213693952", "c"}));
    EXPECT_EQ(log->countContaining("cannot be"), 0u);
}

TEST_F(PreferencesListTests, WhatCannotBeReadIsNamedOnce) {
    const auto worker = open();
    worker->work([] {});
    RecordList list = notes({"a"});
    worker->setObject(archiveOf(list), "list");
    OtherConnection(path).execute("INSERT INTO records(list,class) VALUES('list','Nothing')");
    const auto viewer = open();
    viewer->addObserver(std::make_shared<RecordingObserver>(), "", nullptr);
    const std::size_t named = log->countContaining("cannot be understood");
    const auto isSeen = [&] {
        return runUntil(
            [&] { return textsOf(viewer->objectForKey("list")) == textsOf(archiveOf(list)); });
    };
    for (const char *text : {"b", "c"}) { // what is new is read, and, when the front goes, all
        list.push_back(std::make_shared<Note>(text));
        worker->setObject(archiveOf(list), "list");
        EXPECT_TRUE(isSeen());
        list.dropFirst(1);
        worker->setObject(archiveOf(list), "list");
        EXPECT_TRUE(isSeen());
    }
    EXPECT_EQ(log->countContaining("cannot be understood"), named);
}

TEST_F(PreferencesListTests, RowsOfTypesAndNumbersThatNobodyWritesAreNamedAndKept) {
    { open()->setObject(archiveOf(notes({"mine"})), "list"); }
    OtherConnection other(path);
    other.execute("INSERT INTO records(number,list,class,date,consentString,fields) VALUES"
                  "(1,'list','Note','a date',NULL,'{\"text\":\"x\"}'),"
                  "(2,'list','Note',1,X'43','{\"text\":\"x\"}'),"
                  "(3,'list',X'4E6F7465',1,'C','{\"text\":\"x\"}'),"
                  "(4,'list','Note',1,'C',X'7B7D'),"
                  "(9223372036854775807,'list','Note',1,'C','{\"text\":\"x\"}')");
    const auto preferences = open();
    EXPECT_EQ(textsOf(preferences->objectForKey("list")), Texts{"mine"});
    EXPECT_EQ(log->countContaining("cannot be understood"), 5u);
    RecordList list = *preferences->objectForKey("list").asData()->records();
    list.push_back(std::make_shared<Note>("new"));
    preferences->setObject(archiveOf(list), "list");
    EXPECT_EQ(other.text("SELECT count(*) FROM records"), "7");
    EXPECT_EQ(stored(), (Texts{"mine", "new"}));
}

TEST_F(PreferencesListTests, TwoProcessesThatTakeAFileOfVersion1OverDoubleNothing) {
    for (const bool readsBeforeItWrites : {false, true}) {
        makeVersion1("('list','data'," + archiveSQL({"a", "b"}) + ")");
        const auto worker = open();
        worker->work([&] { worker->seeToHandovers([](const auto &) {}); });
        RecordList list = *worker->objectForKey("list").asData()->records();
        open()->setObject(Value::integer(1), "theirs");
        if (readsBeforeItWrites) {
            EXPECT_TRUE(runUntil([&] { return !worker->objectForKey("theirs").isAbsent(); }));
            EXPECT_EQ(textsOf(worker->objectForKey("list")), (Texts{"a", "b"}));
        }
        list.push_back(std::make_shared<Note>("c"));
        worker->setObject(archiveOf(list), "list");
        EXPECT_EQ(stored(), (Texts{"a", "b", "c"}));
        std::filesystem::remove(path);
    }
    EXPECT_EQ(log->countContaining("is held"), 0u);
}

TEST_F(PreferencesListTests, AFileOfVersion1ThatIsReadAgainDoublesNothing) {
    makeVersion1("('list','data'," + archiveSQL({"a", "b"}) + ")");
    const auto preferences = open();
    RecordList list = *preferences->objectForKey("list").asData()->records();
    list.push_back(std::make_shared<Note>("c"));
    OtherConnection other(path);
    other.execute("BEGIN IMMEDIATE; INSERT INTO preferences VALUES('theirs','integer',1)");
    preferences->setObject(archiveOf(list), "list");
    other.execute("COMMIT");
    EXPECT_TRUE(preferences->synchronizeWithin(std::chrono::seconds(30)));
    EXPECT_EQ(rows(other), "a,b,c");
}

TEST_F(PreferencesListTests, AListWhoseFirstWriteFailedGetsItsEntry) {
    const auto preferences = open();
    preferences->setObject(Value::string("text"), "list");
    OtherConnection other(path);
    failAt(Call::write, 0, ENOSPC);
    preferences->setObject(archiveOf(notes({"a", "b"})), "list");
    EXPECT_TRUE(hasFailed());
    EXPECT_TRUE(preferences->synchronizeWithin(std::chrono::seconds(30)));
    EXPECT_EQ(rows(other), "a,b");
    EXPECT_EQ(other.text("SELECT type FROM preferences"), "records");
}

TEST_F(PreferencesListTests, AListThatWasSetBeforeTheFileCouldBeReadIsAddedToIt) {
    { open()->setObject(archiveOf(notes({"stored"})), "list"); }
    auto holder = std::make_unique<OtherConnection>(path);
    holder->execute("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
    const auto preferences = open();
    EXPECT_TRUE(preferences->objectForKey("list").isAbsent());
    preferences->setObject(archiveOf(notes({"new"})), "list");
    holder.reset();
    EXPECT_TRUE(preferences->synchronizeWithin(std::chrono::seconds(30)));
    EXPECT_EQ(stored(), (Texts{"stored", "new"}));
    // Delivered: only what this process knew of goes.
    preferences->setObject(archiveOf({}), "list");
    EXPECT_EQ(stored(), Texts{"stored"});
}

TEST_F(PreferencesListTests, ALostLogDoublesNothing) {
    const auto preferences = open();
    RecordList list = notes({"a"});
    preferences->setObject(archiveOf(list), "list");
    std::filesystem::remove(path + "-wal");
    list.push_back(std::make_shared<Note>("b"));
    preferences->setObject(archiveOf(list), "list");
    std::filesystem::remove(path);
    list.push_back(std::make_shared<Note>("c"));
    preferences->setObject(archiveOf(list), "list");
    EXPECT_EQ(stored(), (Texts{"a", "b", "c"}));
}

TEST_F(PreferencesListTests, AChildForkedInAnObserverWritesNothing) {
    const auto preferences = open();
    pid_t child = -1;
    const auto observer = std::make_shared<FunctionObserver>();
    observer->call = [&](const Dictionary &) { child = ::fork(); };
    preferences->addObserver(observer, "list", nullptr);
    preferences->setObject(archiveOf(notes({"a"})), "list");
    if (child == 0)
        ::_exit(0);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(stored(), Texts{"a"});
}

TEST_F(PreferencesListTests, AnotherProcessSeesTheListGrowAndGo) {
    const auto worker = open();
    worker->work([] {});
    RecordList list = notes({"a", "b"});
    worker->setObject(archiveOf(list), "list");
    const auto viewer = open();
    viewer->addObserver(std::make_shared<RecordingObserver>(), "", nullptr);
    const auto becomes = [&](const Texts &texts) {
        return runUntil([&] { return textsOf(viewer->objectForKey("list")) == texts; });
    };
    EXPECT_TRUE(becomes({"a", "b"}));
    list.push_back(std::make_shared<Note>("c"));
    worker->setObject(archiveOf(list), "list");
    EXPECT_TRUE(becomes({"a", "b", "c"}));
    list.dropFirst(2);
    worker->setObject(archiveOf(list), "list");
    EXPECT_TRUE(becomes({"c"}));
    worker->setObject(archiveOf({}), "list");
    worker->setObject(archiveOf(notes({"d"})), "list");
    EXPECT_TRUE(becomes({"d"}));
}

TEST_F(PreferencesListTests, AsLongAsAListMayBe) {
    const auto preferences = open();
    RecordList list;
    for (int count = 0; count < 100'000; ++count)
        list.push_back(std::make_shared<Note>(std::to_string(count)));
    preferences->setObject(archiveOf(list), "list");
    const Texts texts = stored();
    ASSERT_EQ(texts.size(), 100'000u);
    EXPECT_EQ(texts.back(), "99999");
    preferences->setObject(archiveOf({}), "list");
    EXPECT_TRUE(stored().empty());
}

} // namespace
} // namespace vmr::test
