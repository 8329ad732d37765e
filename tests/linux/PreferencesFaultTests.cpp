#include "linux/Faults.h"
#include "linux/Note.h"
#include "linux/PreferencesFixture.h"
#include "platform/linux/preferences/PreferencesInspection.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>

namespace vmr::test {
namespace {

using Texts = std::vector<std::string>;

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int step = 7; // so slow that some will do
#else
constexpr int step = 1;
#endif

class PreferencesFaultTests : public PreferencesTest {
protected:
    void removeAll() {
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            std::filesystem::remove_all(entry.path());
    }
    /// Calls it until memory suffices, as a host does.
    template <class Function>
    static void insist(const Function &function) {
        for (;;) {
            try {
                return function();
            } catch (const std::bad_alloc &) {
            }
        }
    }
    void add(SQLitePreferences &preferences, const std::string &text) {
        insist([&] {
            const Value stored = preferences.objectForKey("list");
            RecordList list = stored.asData() ? *stored.asData()->records() : RecordList();
            list.push_back(std::make_shared<Note>(text));
            preferences.setObject(archiveOf(list), "list");
        });
    }
};

TEST_F(PreferencesFaultTests, WhatFailsOnceLosesNothing) {
    const struct {
        Call call;
        std::vector<int> errors;
    } cases[] = {
        {Call::open, {EMFILE, ENOSPC, EACCES}},
        {Call::read, {EIO}},
        {Call::write, {ENOSPC, EIO}},
        {Call::sync, {EIO}},
        {Call::rename, {EIO}},
        {Call::status, {EIO, EACCES}},
        {Call::access, {EIO}},
        {Call::allocate, {ENOMEM}},
    };
    const auto work = [&](Call call, int nth, int error) {
        failAt(call, nth, error);
        std::shared_ptr<SQLitePreferences> preferences;
        insist([&] { preferences = open(); });
        insist([&] { preferences->objectForKey("list"); });
        add(*preferences, "new");
        bool isSynced = false;
        insist([&] { isSynced = preferences->synchronize(); });
        const bool isOver = hasFailed();
        failAt(Call::none, -1);
        if (!isSynced && !await([&] { return preferences->synchronize(); }))
            return 1;
        ::_exit(isOver ? 0 : 2);
        return 0;
    };
    for (const auto &one : cases) {
        const Call call = one.call;
        for (const int error : one.errors) {
            int end = 0;
            for (int nth = 0; end == 0 && nth < 5000;
                 nth += call == Call::allocate ? 11 * step : step) {
                removeAll();
                ASSERT_EQ(inChild([&] {
                              const auto preferences = open();
                              add(*preferences, "a");
                              add(*preferences, "b");
                              ::_exit(0);
                              return 0;
                          }),
                          0);
                end = inChild([&] { return work(call, nth, error); });
                EXPECT_EQ(inChild([&] {
                              const Texts all = textsOf(open()->objectForKey("list"));
                              EXPECT_EQ(all, (Texts{"a", "b", "new"}));
                              EXPECT_TRUE(log->lines().empty()) << log->lines()[0];
                              return HasFailure() ? 1 : 0;
                          }),
                          0)
                    << static_cast<int>(call) << " failed at " << nth << " with " << error;
                for (const auto &entry : std::filesystem::directory_iterator(folder))
                    EXPECT_EQ(entry.path().string().find(".damaged"), std::string::npos);
            }
            EXPECT_EQ(end, 2) << static_cast<int>(call);
        }
    }
}

TEST_F(PreferencesFaultTests, WhatAFailedSyncDroppedIsWrittenAgain) {
    const auto preferences = open();
    preferences->setObject(Value::integer(1), "key");
    EXPECT_TRUE(preferences->synchronize());
    preferences->setObject(Value::integer(2), "key");
    failAt(Call::sync, 0, EIO);
    EXPECT_FALSE(preferences->synchronize());
    int writes = countOf(Call::write);
    EXPECT_TRUE(preferences->synchronize());
    EXPECT_GT(countOf(Call::write), writes);
    EXPECT_EQ(log->countContaining("cannot be synced"), 1u);
    // Without being asked, too.
    failAt(Call::sync, 0, EIO);
    preferences->setObject(Value::integer(3), "key");
    EXPECT_TRUE(await(hasFailed));
    writes = countOf(Call::write);
    EXPECT_TRUE(await([&] { return countOf(Call::write) > writes; }));
    EXPECT_EQ(OtherConnection(path).text("SELECT value FROM preferences"), "3");
}

TEST_F(PreferencesFaultTests, AThreadThatIsRefusedIsAskedForAgain) {
    pthread_attr_t usual;
    pthread_attr_t endless;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(::pthread_attr_init(&endless), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&endless, std::size_t{1} << 46), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&endless), 0);
    const auto preferences = open();
    preferences->setObject(Value::string("set"), "key");
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    const int synced = countOf(Call::sync);
    EXPECT_TRUE(await([&] {
        loop->process();
        return countOf(Call::sync) > synced;
    }));
}

TEST_F(PreferencesFaultTests, WhatWasSetLastIsSyncedAtTheEndOrTheNextStart) {
    int syncs = countOf(Call::sync);
    for (const bool isKilled : {false, true}) {
        removeAll(); // else what the end before left is synced meanwhile
        const int end = inChild([&] {
            // Kept: the host's store lives as long as its process.
            auto *const preferences = new std::shared_ptr<SQLitePreferences>(open());
            (*preferences)->setObject(Value::integer(1), "key");
            failAt(Call::none, -1);
            syncs = countOf(Call::sync);
            if (isKilled)
                ::kill(::getpid(), SIGKILL);
            std::exit(0);
            return 0;
        });
        EXPECT_EQ(end, isKilled ? -SIGKILL : 0);
        EXPECT_EQ(countOf(Call::sync) > syncs, !isKilled);
        syncs = countOf(Call::sync);
    }
    EXPECT_EQ(inChild([&] {
                  const auto preferences = open();
                  preferences->objectForKey("key");
                  return await([&] { return countOf(Call::sync) > syncs; }) ? 0 : 1;
              }),
              0);
}

TEST_F(PreferencesFaultTests, AnIndexThatIsHeldKeepsNobodyWaiting) {
    const auto preferences = open();
    preferences->setObject(Value::integer(1), "key");
    int told[2];
    ASSERT_EQ(::pipe(told), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = 123; // the bytes of the readers
        lock.l_len = 5;
        const bool isHeld = ::fcntl(::open((path + "-shm").c_str(), O_RDWR), F_SETLK, &lock) == 0;
        static_cast<void>(!::write(told[1], isHeld ? "y" : "n", 1));
        ::pause();
    }
    char answer = 0;
    ASSERT_EQ(::read(told[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    const auto begin = std::chrono::steady_clock::now();
    for (int value = 2; value < 5; ++value)
        preferences->setObject(Value::integer(value), "key");
    EXPECT_TRUE(open()->objectForKey("key").isAbsent()); // nor a start
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    EXPECT_TRUE(
        await([&] { return OtherConnection(path).text("SELECT value FROM preferences") == "4"; }));
}

TEST_F(PreferencesFaultTests, ALockThatFailsOnceIsNotForEver) {
    int nth = 0;
    for (; nth == 0 || hasFailed(); ++nth) {
        auto preferences = open();
        preferences->setObject(Value::integer(-1), "key");
        failAt(Call::lock, nth, ENOLCK);
        for (int value = nth; value < nth + 3; ++value)
            preferences->setObject(Value::integer(value), "key");
        EXPECT_TRUE(await([&] { return preferences->synchronize(); }))
            << nth << preferences->trouble().text;
        preferences.reset();
        EXPECT_EQ(open()->objectForKey("key").integerValue(), nth + 2);
    }
    EXPECT_GT(nth, 10);
}

TEST_F(PreferencesFaultTests, TheLogLeavesRoomOnATinyDisk) {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "mode=0700,size=1m") != 0)
        GTEST_SKIP() << "needs the right to mount a file system";
    {
        const auto preferences = open();
        for (int value = 0; value < 2000; ++value)
            preferences->setObject(Value::integer(value), "key");
        EXPECT_TRUE(await([&] { return preferences->synchronize(); }));
        EXPECT_LT(std::filesystem::file_size(path + "-wal"), 600'000u);
        EXPECT_EQ(OtherConnection(path).text("SELECT value FROM preferences"), "1999");
    }
    ::umount2(folder.c_str(), MNT_DETACH);
}

TEST_F(PreferencesFaultTests, AnUnfitSQLiteIsNamed) {
    setThreadsafe(false);
    const auto preferences = open();
    preferences->setObject(Value::integer(1), "key");
    EXPECT_EQ(preferences->trouble().kind, PreferencesTrouble::Kind::refused);
    EXPECT_EQ(log->countContaining("THREADSAFE=0"), 1u);
    EXPECT_EQ(log->lines().size(), 1u);
    EXPECT_NE(inspectPreferences(path, false, false).trouble.text.find("THREADSAFE=0"),
              std::string::npos);
    setThreadsafe(true);
}

} // namespace
} // namespace vmr::test
