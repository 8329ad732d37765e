#include "linux/Note.h"
#include "linux/PreferencesFixture.h"

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace vmr::test {
namespace {

using PreferencesTroubleTests = PreferencesTest;

void fill(SQLitePreferences &preferences) {
    for (int i = 0; i < 40; ++i)
        preferences.setObject(Value::string(std::string(3000, 'x')), "key " + std::to_string(i));
}

/// Makes a page in the middle unreadable.
void damage(const std::string &path) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(std::filesystem::file_size(path) / 2 / 4096 * 4096));
    file << std::string(4096, '\xee');
}

std::vector<std::string> damagedFiles(const std::string &folder) {
    std::vector<std::string> result;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.find(".damaged-") != std::string::npos && !name.ends_with("-wal") &&
            !name.ends_with("-shm"))
            result.push_back(name);
    }
    return result;
}

TEST_F(PreferencesTroubleTests, AFlippedBitIsNeverDelivered) {
    const std::vector<std::string> written = {"first record", "second record", "third record"};
    { open()->setObject(archiveOf(notes(written)), "list"); }
    std::ifstream file(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const std::size_t records = bytes.find("first record") / 4096;
    const std::size_t table = bytes.find("CREATE TABLE records");
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const bool counts = at / 4096 == records || (at >= table && at < table + 60);
        // Of the other bytes some will do; what is zero is unused.
        if (bytes[at] == 0 || (!counts && at % 7 != 0))
            continue;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            std::filesystem::remove(entry.path());
        std::string flipped = bytes;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
        std::ofstream(path, std::ios::binary) << flipped;
        ::chmod(path.c_str(), 0600);
        log->clear();
        const std::vector<std::string> read = textsOf(open()->objectForKey("list"));
        for (const std::string &text : read)
            EXPECT_EQ(std::count(written.begin(), written.end(), text), 1) << text << " at " << at;
        EXPECT_TRUE(read.size() == written.size() || !log->lines().empty()) << "at " << at;
        if (at >= table && at < table + 60) {
            open()->removeObjectForKey("list"); // all of it has been sent
            EXPECT_TRUE(open()->objectForKey("list").isAbsent() || !log->lines().empty()) << at;
        }
    }
}

TEST_F(PreferencesTroubleTests, WhatCanBeReadOfADamagedFileIsCarriedOver) {
    fill(*open());
    ASSERT_GT(std::filesystem::file_size(path), 100'000u);
    damage(path);
    SQLitePreferencesOptions asTool = options();
    asTool.isTool = true;
    EXPECT_TRUE(SQLitePreferences::make(asTool)->keys().empty());
    EXPECT_EQ(log->countContaining("start the application"), 1u);
    const std::size_t kept = open()->keys().size();
    EXPECT_GE(kept, 30u);
    EXPECT_LT(kept, 40u);
    EXPECT_EQ(log->countContaining(std::to_string(kept) + " entries"), 1u);
    EXPECT_EQ(open()->keys().size(), kept);
}

TEST_F(PreferencesTroubleTests, TheRecordsOnBothSidesOfADamagedPageAreCarriedOver) {
    std::vector<std::string> written;
    for (int record = 1000; record < 1200; ++record)
        written.push_back(std::to_string(record) + std::string(300, 'x'));
    { open()->setObject(archiveOf(notes(written)), "list"); }
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    file.seekp(static_cast<std::streamoff>(bytes.find(written[100]) / 4096 * 4096));
    file << '\xee' << std::flush;
    const std::vector<std::string> read = textsOf(open()->objectForKey("list"));
    EXPECT_GT(read.size(), 180u);
    EXPECT_LT(read.size(), 200u);
    EXPECT_EQ(read.front(), written.front());
    EXPECT_EQ(read.back(), written.back());
    EXPECT_TRUE(std::ranges::is_sorted(read));
}

TEST_F(PreferencesTroubleTests, ACutFileIsSetAside) {
    fill(*open());
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const std::size_t kept = open()->keys().size();
    EXPECT_GT(kept, 5u);
    EXPECT_LT(kept, 40u);
    EXPECT_EQ(damagedFiles(folder).size(), 1u);
    // Also one of which nothing but the beginning is left, or a new one's length.
    std::size_t aside = 1;
    for (const std::string &rest : {std::string("SQLite format 3\0", 16) + std::string(8176, 'g'),
                                    std::string(4096, '\0'), std::string(512, '\0')}) {
        path = folder + "/rest" + std::to_string(++aside);
        std::ofstream(path) << rest;
        ::chmod(path.c_str(), 0600);
        { open()->setObject(Value::integer(1), "key"); }
        EXPECT_EQ(open()->objectForKey("key").integerValue(), 1);
        EXPECT_EQ(damagedFiles(folder).size(), aside);
    }
}

TEST_F(PreferencesTroubleTests, TheLogOfAKilledProcessIsNotThrownAway) {
    for (const bool emptied : {false, true}) {
        path = folder + (emptied ? "/emptied" : "/killed");
        ASSERT_EQ(inChild([this] {
                      const auto preferences = open();
                      preferences->setObject(Value::string("kept"), "key");
                      ::kill(::getpid(), SIGKILL);
                      return 0;
                  }),
                  -SIGKILL);
        if (emptied)
            std::filesystem::resize_file(path, 0);
        EXPECT_EQ(inChild([&] {
                      const bool isKept = open()->stringForKey("key") == "kept";
                      return isKept && log->lines().empty() != emptied ? 0 : 1;
                  }),
                  0);
        EXPECT_EQ(damagedFiles(folder).size(), emptied ? 1u : 0u);
    }
}

TEST_F(PreferencesTroubleTests, AStoreThatCannotBeWatchedIsNamed) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers need descriptors to look at an object's type";
#endif
    EXPECT_EQ(inChild([&] {
                  rlimit limit{};
                  ::getrlimit(RLIMIT_NOFILE, &limit);
                  const rlimit none{0, limit.rlim_max};
                  ::setrlimit(RLIMIT_NOFILE, &none);
                  const auto preferences = open();
                  preferences->setObject(Value::integer(0), "key");
                  const std::string trouble = preferences->trouble().text;
                  ::setrlimit(RLIMIT_NOFILE, &limit);
                  preferences->setObject(Value::integer(0), "key");
                  std::filesystem::remove(path); // it is opened anew, and named no second time
                  preferences->setObject(Value::integer(1), "key");
                  const bool isNamed =
                      log->countContaining("watches no more files") == 1 &&
                      trouble ==
                          "cannot be made (Too many open files); raise the limit of open files";
                  return isNamed && open()->objectForKey("key").integerValue() == 1 ? 0 : 1;
              }),
              0);
}

TEST_F(PreferencesTroubleTests, AFullDiskKeepsTheStateInMemory) {
    const int result = inChild([this] {
        ::signal(SIGXFSZ, SIG_IGN);
        const auto preferences = open();
        preferences->setObject(Value::string("small"), "key");
        rlimit limit{200'000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const Value big = Value::data(Data(std::string(1'000'000, 'x')));
        preferences->setObject(big, "big");
        preferences->setObject(Value::string("later"), "key");
        if (!preferences->objectForKey("big").isIdenticalTo(big) || log->lines().size() != 1)
            return 1;
        limit.rlim_cur = RLIM_INFINITY;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        OtherConnection other(path);
        return await([&] {
            return other.text("SELECT length(value) FROM preferences WHERE key='big'") == "1000000";
        })
                   ? 0
                   : 2;
    });
    EXPECT_EQ(result, 0);
}

TEST_F(PreferencesTroubleTests, WhatIsCarriedOverOntoAFullDiskIsWrittenWhenThereIsRoom) {
    ASSERT_EQ(inChild([this] {
                  fill(*open());
                  return 0;
              }),
              0);
    damage(path);
    const int result = inChild([this] {
        ::signal(SIGXFSZ, SIG_IGN);
        // Room for what was set aside to be read and for an empty file, but not for the rows.
        rlimit limit{60'000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto preferences = open();
        preferences->setObject(Value::string("set"), "new");
        if (log->countContaining("cannot be used") + log->countContaining("cannot grow") != 1)
            return 1;
        limit.rlim_cur = RLIM_INFINITY;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return await([&] { return preferences->keys().size() > 30; }) &&
                       await([&] { return open()->stringForKey("new") == "set"; }) &&
                       open()->keys().size() > 30
                   ? 0
                   : 2;
    });
    EXPECT_EQ(result, 0);
}

TEST_F(PreferencesTroubleTests, AReadOnlyFileSystemIsReadAsItIs) {
    const std::string place = path.substr(0, path.rfind('/'));
    const auto mounted = [&](unsigned long flags) {
        return ::mount("tmpfs", place.c_str(), "tmpfs", flags, "mode=0700,size=4m") == 0;
    };
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 || !mounted(0))
        GTEST_SKIP() << "needs the right to mount a file system";
    ASSERT_EQ(inChild([&]() -> int {
                  const auto preferences = open();
                  preferences->setObject(Value::integer(1), "a");
                  ::_exit(0); // leaves the log beside the file
              }),
              0);
    // A log without its index cannot be read there: what it holds must not count as gone.
    const auto unindexed = [&] {
        const auto preferences = open();
        preferences->setObject(archiveOf(notes({"stored"})), "list");
        ::unlink((path + "-shm").c_str());
        ::_exit(0);
        return 0;
    };
    const auto read = [&] {
        const auto preferences = open();
        EXPECT_EQ(preferences->objectForKey("a").integerValue(), 1);
        EXPECT_EQ(log->countContaining("is mounted read-only"), 1u);
        preferences->setObject(Value::integer(2), "b");
        EXPECT_FALSE(preferences->synchronize());
        EXPECT_TRUE(mounted(MS_REMOUNT));
        EXPECT_TRUE(preferences->synchronize());
        return HasFailure() ? 1 : 0;
    };
    const auto readAtRest = [&] {
        const auto preferences = open();
        EXPECT_EQ(preferences->objectForKey("a").integerValue(), 1);
        EXPECT_EQ(preferences->objectForKey("b").integerValue(), 2);
        return HasFailure() ? 1 : 0;
    };
    const auto setUnread = [&] {
        const auto preferences = open();
        preferences->setObject(archiveOf(notes({"new"})), "list");
        EXPECT_TRUE(mounted(MS_REMOUNT));
        EXPECT_TRUE(preferences->synchronize());
        return HasFailure() ? 1 : 0;
    };
    ASSERT_TRUE(mounted(MS_REMOUNT | MS_RDONLY));
    EXPECT_EQ(inChild(read), 0);
    // Closed in order, there is no log.
    ASSERT_FALSE(std::filesystem::exists(path + "-wal"));
    ASSERT_TRUE(mounted(MS_REMOUNT | MS_RDONLY));
    EXPECT_EQ(inChild(readAtRest), 0);
    ASSERT_TRUE(mounted(MS_REMOUNT));
    ASSERT_EQ(inChild(unindexed), 0);
    ASSERT_TRUE(mounted(MS_REMOUNT | MS_RDONLY));
    EXPECT_EQ(inChild(setUnread), 0);
    const auto list = [&] { return textsOf(open()->objectForKey("list")); };
    const std::vector<std::string> both = {"stored", "new"};
    EXPECT_EQ(inChild([&] { return list() == both ? 0 : 1; }), 0);
    // A file of version 1 is taken over as soon as that is possible.
    for (const auto &entry : std::filesystem::directory_iterator(place))
        std::filesystem::remove(entry.path());
    makeVersion1("('list','data'," + archiveSQL({"stored"}) + ")");
    ASSERT_TRUE(mounted(MS_REMOUNT | MS_RDONLY));
    EXPECT_EQ(inChild([&] {
                  const auto preferences = open();
                  RecordList longer = *preferences->objectForKey("list").asData()->records();
                  longer.push_back(std::make_shared<Note>("new"));
                  preferences->setObject(archiveOf(longer), "list");
                  EXPECT_TRUE(mounted(MS_REMOUNT));
                  EXPECT_TRUE(preferences->synchronize());
                  return HasFailure() ? 1 : 0;
              }),
              0);
    EXPECT_EQ(OtherConnection(path).text("SELECT count(*) FROM records"), "2");
    EXPECT_EQ(list(), both);
    ::umount2(place.c_str(), MNT_DETACH);
}

} // namespace
} // namespace vmr::test
