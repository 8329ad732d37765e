#include "linux/Faults.h"
#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

#include <csignal>
#include <fstream>

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

/// Each store is used by children alone, which are processes of their own.
class PreferencesKillTests : public PreferencesTest {
protected:
    /// Prepares a store, does the work and kills it at every one of such calls in turn, and looks
    /// each time. Gives how many there are.
    int killAtEvery(Call call, const std::function<void()> &prepare,
                    const std::function<void()> &work, const std::function<bool()> &isRight) {
        for (int nth = 0; nth < 500; ++nth) {
            for (const auto &entry : std::filesystem::directory_iterator(folder))
                std::filesystem::remove(entry.path());
            EXPECT_EQ(inChild([&] { return prepare(), 0; }), 0);
            const int end = inChild([&] {
                failAt(call, nth);
                work();
                return 0;
            });
            EXPECT_EQ(inChild([&] { return isRight() ? 0 : 1; }), 0)
                << "killed at " << nth << " of " << static_cast<int>(call);
            if (end != -SIGKILL)
                return nth;
        }
        return -1;
    }
    int killAtEveryWrite(const std::function<void()> &prepare, const std::function<void()> &work,
                         const std::function<bool()> &isRight) {
        return killAtEvery(Call::write, prepare, work, isRight);
    }
};

TEST_F(PreferencesKillTests, OneCallIsStoredWholeOrNotAtAll) {
    const auto observer = std::make_shared<FunctionObserver>();
    const auto prepare = [&] { open()->setObject(archiveOf(notes({"before"})), "list"); };
    const auto work = [&] {
        const auto preferences = open();
        observer->call = [&](const Dictionary &change) {
            RecordList list = *preferences->objectForKey("list").asData()->records();
            list.push_back(std::make_shared<Note>(*valueForKey(change, "new").asString()));
            preferences->setObject(archiveOf(list), "list");
            preferences->setObject(valueForKey(change, "new"), "last");
        };
        preferences->addObserver(observer, "key", nullptr);
        preferences->setObject(Value::string("set"), "key");
        ::_exit(0); // nothing is left to be written at the end
    };
    const int writes = killAtEveryWrite(prepare, work, [&] {
        const auto preferences = open();
        const Texts list = textsOf(preferences->objectForKey("list"));
        const bool isSet = preferences->stringForKey("key") == "set";
        return isSet == (preferences->stringForKey("last") == "set") &&
               list == (isSet ? Texts{"before", "set"} : Texts{"before"});
    });
    EXPECT_GT(writes, 2);
}

TEST_F(PreferencesKillTests, WhatIsHandedOverIsSeenToOnce) {
    const auto prepare = [&] {
        { open()->setObject(archiveOf(notes({"before"})), "list"); }
        OtherConnection(path).execute("INSERT INTO handovers(key,type,value) VALUES"
                                      "('key','string','a'),('key','string','b')");
    };
    const auto takeOver = [&] {
        const auto preferences = open();
        preferences->work([&] {
            preferences->seeToHandovers([&](const SQLitePreferences::Changes &handovers) {
                RecordList list = *preferences->objectForKey("list").asData()->records();
                for (const PreferencesChange &one : handovers)
                    list.push_back(std::make_shared<Note>(*one.after.asString()));
                preferences->setObject(archiveOf(list), "list");
            });
        });
    };
    const int writes = killAtEveryWrite(prepare, takeOver, [&] {
        takeOver(); // the next one, however far the killed one had come
        return textsOf(open()->objectForKey("list")) == Texts{"before", "a", "b"};
    });
    EXPECT_GT(writes, 2);
}

TEST_F(PreferencesKillTests, AFileOfVersion1IsTakenOverWholeOrNotAtAll) {
    const auto prepare = [&] {
        makeVersion1("('list','data'," + archiveSQL({"b", "c"}) + "),('list.unread','data'," +
                     archiveSQL({"a1"}) + "),('list.unread-10','data'," + archiveSQL({"a10"}) +
                     "),('list.unread-2','data'," + archiveSQL({"a2"}) +
                     "),('other','data',X'00'),('key','string','old')");
    };
    const auto work = [&] {
        open()->setObject(Value::string("new"), "key");
        ::_exit(0);
    };
    const int writes = killAtEveryWrite(prepare, work, [&] {
        const auto preferences = open();
        return textsOf(preferences->objectForKey("list")) == Texts{"a1", "a2", "a10", "b", "c"} &&
               preferences->objectForKey("list.unread").isAbsent() &&
               preferences->objectForKey("other").asData()->size() == 1;
    });
    EXPECT_GT(writes, 5);
    EXPECT_EQ(OtherConnection(path).text("PRAGMA user_version"), "2");
    EXPECT_EQ(OtherConnection(path).text("SELECT count(*) FROM records"), "5");
    EXPECT_EQ(OtherConnection(path).text("SELECT group_concat(key) FROM (SELECT key FROM "
                                         "preferences ORDER BY key)"),
              "key,list,other");
}

TEST_F(PreferencesKillTests, ADamagedFileIsReplacedWholeOrNotAtAll) {
    ASSERT_EQ(inChild([&] {
                  open()->setObject(archiveOf(notes({"a", "b"})), "list");
                  for (int row = 0; row < 40; ++row)
                      open()->setObject(Value::string(std::string(300, 'x')), std::to_string(row));
                  return 0;
              }),
              0);
    OtherConnection(path).execute("INSERT INTO handovers(key,type,value) VALUES"
                                  "('key','string','c'),('key','string','d')");
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::size_t row = bytes.find("17stringxxx"); // the page with it, and no other
    ASSERT_NE(row, std::string::npos);
    bytes[row / 4096 * 4096] = '\xee';
    const auto prepare = [&] {
        std::ofstream(path, std::ios::binary) << bytes;
        ::chmod(path.c_str(), 0600);
    };
    const auto work = [&] {
        open()->setObject(Value::string("new"), "key");
        ::_exit(0);
    };
    for (const Call call : {Call::open, Call::write, Call::sync, Call::rename}) {
        const int calls = killAtEvery(call, prepare, work, [&] {
            const auto preferences = open();
            EXPECT_EQ(textsOf(preferences->objectForKey("list")), (Texts{"a", "b"}));
            EXPECT_GT(preferences->keys().size(), 20u);
            std::size_t handedOver = 0;
            preferences->work([&] {
                preferences->seeToHandovers([&](const SQLitePreferences::Changes &handovers) {
                    handedOver = handovers.size();
                });
            });
            EXPECT_EQ(handedOver, 2u);
            int damaged = 0;
            for (const auto &entry : std::filesystem::directory_iterator(folder)) {
                const std::string name = entry.path().filename().string();
                damaged +=
                    name.find(".damaged") != std::string::npos && name.ends_with("Z") ? 1 : 0;
            }
            EXPECT_EQ(damaged, 1);
            return !HasFailure();
        });
        EXPECT_GT(calls, 0);
    }
}

} // namespace
} // namespace vmr::test
