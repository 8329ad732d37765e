#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

#include <dlfcn.h>

#include <atomic>
#include <csignal>

namespace {
std::atomic<int> writesLeft{-1};
} // namespace

/// Stands before the C library's for everything in this program: the process is killed at one of
/// its writes to a file.
extern "C" __attribute__((visibility("default"))) ssize_t pwrite64(int file, const void *bytes,
                                                                   size_t size, off64_t offset) {
    using Function = ssize_t (*)(int, const void *, size_t, off64_t);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "pwrite64"));
    if (writesLeft >= 0 && writesLeft-- == 0)
        ::kill(::getpid(), SIGKILL);
    return real(file, bytes, size, offset);
}

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

/// Each store is used by children alone, which are processes of their own.
class PreferencesKillTests : public PreferencesTest {
protected:
    /// Prepares a store, does the work and kills it at every one of its writes in turn, and looks
    /// each time. Gives how many writes there are.
    int killAtEveryWrite(const std::function<void()> &prepare, const std::function<void()> &work,
                         const std::function<bool()> &isRight) {
        for (int write = 0; write < 200; ++write) {
            for (const char *suffix : {"", "-wal", "-shm", "-lock"})
                std::filesystem::remove(path + suffix);
            EXPECT_EQ(inChild([&] { return prepare(), 0; }), 0);
            const int end = inChild([&] {
                writesLeft = write;
                work();
                return 0;
            });
            EXPECT_EQ(inChild([&] { return isRight() ? 0 : 1; }), 0) << "killed at write " << write;
            if (end != -SIGKILL)
                return write;
        }
        return -1;
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
            preferences->seeToHandovers([&](const SQLitePreferences::Handovers &handovers) {
                RecordList list = *preferences->objectForKey("list").asData()->records();
                for (const auto &[key, value] : handovers)
                    list.push_back(std::make_shared<Note>(*value.asString()));
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

} // namespace
} // namespace vmr::test
