#include "linux/Faults.h"
#include "linux/Note.h"
#include "linux/PreferencesFixture.h"
#include "platform/KeyedArchive.h"
#include "platform/linux/preferences/PreferencesInspection.h"
#include "platform/linux/preferences/PreferencesPlace.h"
#include "platform/linux/preferences/PreferencesSync.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>

namespace vmr::test {
namespace {

constexpr uid_t other = 12345;

class PreferencesTrustTests : public PreferencesTest {
protected:
    std::string troubleOf(bool isShared = false) {
        return inspectPreferences(path, false, isShared).trouble.text;
    }
    std::shared_ptr<SQLitePreferences> openShared() {
        SQLitePreferencesOptions shared = options();
        shared.isShared = true;
        return SQLitePreferences::make(shared);
    }
    /// What another user who has seen the store's name makes beside it.
    void plant(const char *suffix) const {
        const std::string name = path + suffix;
        const int file = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file < 0)
            return;
        EXPECT_EQ(::fchown(file, other, other), 0);
        EXPECT_EQ(::fchmod(file, 0666), 0);
        ::close(file);
    }
    /// Outside of a container, say.
    static bool knowsAllUsers() {
        std::string first, same, count;
        std::ifstream("/proc/self/uid_map") >> first >> same >> count;
        return count == "4294967295";
    }
    bool isPlanted(const char *suffix) const {
        struct stat status {};
        return ::lstat((path + suffix).c_str(), &status) == 0 && status.st_uid == other;
    }
};

TEST_F(PreferencesTrustTests, FoldersThatOthersMayWriteAreRefusedUnlessAllowed) {
    const std::string inner = folder + "/inner";
    std::filesystem::create_directory(inner);
    path = inner + "/preferences.sqlite";
    for (const mode_t mode : {0770U, 0777U, 01777U, 01770U}) {
        ASSERT_EQ(::chmod(inner.c_str(), mode), 0);
        EXPECT_NE(troubleOf().find("where other users may write"), std::string::npos);
        EXPECT_EQ(troubleOf(true), "");
        {
            const auto refused = open();
            refused->setObject(Value::integer(1), "key");
            refused->work([] {});
        }
        EXPECT_TRUE(std::filesystem::is_empty(inner)) << mode;
        openShared()->setObject(Value::integer(1), "key");
        EXPECT_EQ(openShared()->objectForKey("key").integerValue(), 1);
        std::filesystem::remove_all(inner);
        std::filesystem::create_directory(inner);
    }
    ASSERT_EQ(::chmod(inner.c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder.c_str(), 0777), 0);
    EXPECT_NE(troubleOf().find("another one into its place"), std::string::npos);
    ASSERT_EQ(::chmod(folder.c_str(), 01777), 0);
    EXPECT_EQ(troubleOf(), "");
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    // The second is an account, too, where nobody is unknown.
    for (const uid_t owner : {other, uid_t{65534}}) {
        if (::geteuid() != 0 || !knowsAllUsers())
            break;
        ASSERT_EQ(::chown(folder.c_str(), owner, owner), 0);
        EXPECT_NE(troubleOf().find("another one into its place"), std::string::npos) << owner;
    }
    static_cast<void>(::chown(folder.c_str(), ::geteuid(), ::getegid()));
}

TEST_F(PreferencesTrustTests, NobodyElseChoosesWhereALinkLeadsTo) {
    const std::string target = folder + "/target";
    const std::string links = folder + "/links";
    const std::string link = links + "/link";
    std::filesystem::create_directories(target + "/inner");
    std::filesystem::create_directory(links);
    std::filesystem::create_directory_symlink("../target", link);
    std::filesystem::create_directory_symlink(link, folder + "/first");
    path = folder + "/first/inner/preferences.sqlite";
    open()->setObject(Value::integer(1), "key");
    EXPECT_EQ(open()->objectForKey("key").integerValue(), 1) << "links of the user's own";
    ASSERT_EQ(::chmod(links.c_str(), 0777), 0);
    EXPECT_NE(troubleOf().find("is below the folder " + links), std::string::npos);
    ASSERT_EQ(::chmod(links.c_str(), 0755), 0);
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to give links away";
    ASSERT_EQ(::lchown(link.c_str(), other, other), 0);
    EXPECT_NE(troubleOf().find("is behind the symbolic link"), std::string::npos);
    EXPECT_EQ(troubleOf(true), "");
}

TEST_F(PreferencesTrustTests, ALinkOfRootsLeadsAServiceToItsFolder) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to be another user";
    const std::string own = folder + "/private/VelmoraKit";
    std::filesystem::create_directories(own);
    std::filesystem::create_directory_symlink("private/VelmoraKit", folder + "/VelmoraKit");
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(::chown(own.c_str(), other, other), 0);
    ::setenv("XDG_STATE_HOME", folder.c_str(), 1);
    const auto stores = [&](const std::string &place) {
        path = place;
        EXPECT_EQ(::seteuid(other), 0);
        open()->setObject(Value::integer(1), "key");
        const bool isStored = open()->objectForKey("key").integerValue() == 1;
        EXPECT_EQ(::seteuid(0), 0);
        return isStored;
    };
    EXPECT_TRUE(stores("")) << "the default place";
    EXPECT_TRUE(stores(folder + "/VelmoraKit/preferences.sqlite"));
    EXPECT_TRUE(std::filesystem::exists(own + "/preferences.sqlite"));
    ASSERT_EQ(::lchown((folder + "/VelmoraKit").c_str(), other, other), 0);
    EXPECT_FALSE(stores(folder + "/VelmoraKit/preferences.sqlite"));
    ::unsetenv("XDG_STATE_HOME");
}

TEST_F(PreferencesTrustTests, NothingIsMadeInTheHomeOfAnotherUser) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to be another user";
    ASSERT_EQ(::chown(folder.c_str(), other, other), 0);
    ::unsetenv("XDG_STATE_HOME");
    ::setenv("HOME", folder.c_str(), 1);
    path.clear();
    const auto preferences = open();
    preferences->setObject(Value::integer(1), "key");
    preferences->work([] {});
    EXPECT_EQ(log->countContaining("is below the folder " + folder), 1u);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(PreferencesTrustTests, NothingOfAnotherUsersIsCarriedOver) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to be another user";
    ASSERT_EQ(::chmod(folder.c_str(), 01777), 0);
    for (const char *suffix : {".damaged", ".damaged-wal", ".damaged-journal"}) {
        for (const bool isEarly : {true, false}) {
            openShared()->setObject(Value::integer(1), "key");
            std::filesystem::resize_file(path, 3000);
            std::filesystem::remove(path + "-wal");
            const bool isName = suffix == std::string(".damaged");
            if (isEarly || isName)
                plant(suffix);
            else // as soon as the file has been set aside
                beforeEach([&] {
                    if (std::filesystem::exists(path + ".damaged"))
                        plant(suffix);
                });
            const auto preferences = openShared();
            EXPECT_TRUE(preferences->objectForKey("key").isAbsent());
            beforeEach({});
            // The store's own log takes the place of another one.
            EXPECT_TRUE(suffix == std::string(".damaged-wal") ||
                        preferences->trouble().text.find("belongs to another user") !=
                            std::string::npos)
                << suffix << isEarly << preferences->trouble().text;
            for (const auto &entry : std::filesystem::directory_iterator(folder)) {
                struct stat status {};
                EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
                EXPECT_TRUE(status.st_uid != other || entry.path() == path + suffix) << entry;
                std::filesystem::remove(entry);
            }
        }
    }
}

TEST_F(PreferencesTrustTests, AnotherUserCannotTakeAStoreOverWhileItIsMade) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to be another user";
    const std::string inner = folder + "/inner";
    for (int tried = 0; tried < 160; ++tried) {
        std::filesystem::create_directory(inner);
        ASSERT_EQ(::chmod(inner.c_str(), tried % 2 == 0 ? 01777 : 0770), 0);
        path = inner + "/preferences.sqlite";
        // At a call of the many that look at files or open them, before which all is still as the
        // store wants it.
        const int at = tried / 2;
        int seen = 0;
        beforeEach([&] {
            if (seen++ == at)
                for (const char *suffix : {"-wal", "-shm", "-journal", "-lock", ""})
                    plant(suffix);
        });
        const auto preferences = openShared();
        preferences->setObject(Value::integer(1), "key");
        beforeEach({});
        const bool isStored = !preferences->trouble();
        for (const char *suffix : {"", "-wal", "-shm", "-journal", "-lock"})
            EXPECT_FALSE(isStored && isPlanted(suffix)) << suffix << " before call " << at;
        std::filesystem::remove_all(inner);
    }
}

TEST_F(PreferencesTrustTests, AHardLinkIsRefusedWithItsRightsAsTheyWere) {
    const std::string precious = folder + "/precious";
    std::ofstream(precious) << "";
    ASSERT_EQ(::chmod(precious.c_str(), 0644), 0);
    for (const char *suffix : {"", "-wal", "-lock"}) {
        ASSERT_EQ(::link(precious.c_str(), (path + suffix).c_str()), 0);
        open()->setObject(Value::integer(1), "key");
        EXPECT_EQ(log->countContaining("has a second name (a hard link)"), 1u) << suffix;
        struct stat status {};
        EXPECT_EQ(::stat(precious.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0644u);
        EXPECT_EQ(status.st_size, 0);
        std::filesystem::remove(path + suffix);
        log->clear();
    }
}

TEST_F(PreferencesTrustTests, APipeInTheLogsPlaceHoldsNobody) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(syncFile(path), EPERM);
    EXPECT_EQ(syncFileAgain(path), EPERM);
    std::filesystem::remove(path);
    const auto preferences = open();
    preferences->setObject(Value::integer(1), "key");
    std::filesystem::remove(path + "-wal");
    ASSERT_EQ(::mkfifo((path + "-wal").c_str(), 0600), 0);
    preferences->setObject(Value::integer(2), "key");
    EXPECT_FALSE(preferences->synchronize());
    EXPECT_EQ(log->countContaining("-wal that is not a regular file"), 1u);
}

TEST_F(PreferencesTrustTests, NothingOfAForeignSchemaIsExecuted) {
    constexpr const char *slow = "length(replace(hex(zeroblob(1000)),'0','00'))";
    const auto added = [&](const std::string &sql) {
        for (const bool isOpen : {false, true}) {
            auto preferences = open();
            preferences->setObject(Value::integer(1), "key");
            if (!isOpen)
                preferences.reset();
            OtherConnection(path).execute(sql);
            if (!isOpen)
                preferences = open();
            preferences->setObject(Value::integer(2), "key");
            EXPECT_EQ(log->countContaining("is not laid out as a preferences file"), 1u) << sql;
            preferences.reset();
            log->clear();
            for (const char *suffix : {"", "-wal", "-shm"})
                std::filesystem::remove(path + suffix);
        }
    };
    added(std::string("CREATE INDEX slow ON preferences(") + slow + ")");
    added(std::string("ALTER TABLE preferences ADD COLUMN x CHECK(") + slow + ">0 OR 1)");
    added("CREATE TRIGGER later AFTER INSERT ON preferences BEGIN SELECT 1; END");
}

TEST_F(PreferencesTrustTests, ALongRowAndAnArchiveOfManyValuesFillNoMemory) {
    {
        const auto preferences = open();
        preferences->setObject(Value::string("kept"), "a");
        preferences->setObject(Value::string("kept"), "z");
    }
    OtherConnection(path).execute("INSERT INTO preferences VALUES('m','data',zeroblob(100000000))");
    // 20 million empty lists, in a list.
    const std::string archive =
        std::string("VMRA\1\xdd\x01\x31\x2d\x00", 10) + std::string(20'000'000, '\x90');
    EXPECT_FALSE(unarchiveObjectWithData(Data(archive)));
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const long before = usage.ru_maxrss;
    const auto preferences = open();
    EXPECT_EQ(preferences->stringForKey("a"), "kept");
    EXPECT_EQ(preferences->stringForKey("z"), "kept");
    EXPECT_EQ(log->countContaining("is damaged (string or blob too big)"), 1u);
    ::getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss - before, 50'000) << "KiB";
}

TEST_F(PreferencesTrustTests, RowsThatShareTheirBytesFillNoMemory) {
    open()->setObject(Value::data(Data(std::string(1 << 20, 'x'))), "key");
    long root = 0;
    {
        OtherConnection connection(path);
        root = std::stol(
            connection.text("SELECT rootpage FROM sqlite_schema WHERE name='preferences'"));
        connection.execute("PRAGMA journal_mode=DELETE");
    }
    // The page's only row, hundreds of times.
    std::fstream page(path, std::ios::in | std::ios::out | std::ios::binary);
    std::string row(2, '\0');
    page.seekg((root - 1) * 4096 + 8);
    page.read(row.data(), 2);
    page.seekp((root - 1) * 4096 + 3);
    page.write("\x01\x2c", 2);
    page.seekp((root - 1) * 4096 + 8);
    for (int copy = 0; copy < 300; ++copy)
        page.write(row.data(), 2);
    page.close();
    EXPECT_EQ(open()->objectForKey("key").asData()->size(), 1u << 20);
    EXPECT_EQ(log->countContaining("its rows are longer than the file"), 1u);
}

TEST_F(PreferencesTrustTests, NamesThatDifferHaveStoresThatDiffer) {
    ::setenv("XDG_STATE_HOME", folder.c_str(), 1);
    const std::string start(200, 'x');
    const std::vector<std::string> names{"a_b", "a/b", "_..",       "..",       "_.a",
                                         ".a",  start, start + "1", start + "2"};
    std::set<std::string> places;
    for (const std::string &name : names) {
        const std::string place = defaultPreferencesPath(name);
        EXPECT_EQ(place.find("/", folder.size() + sizeof "/VelmoraKit"), place.rfind('/')) << place;
        places.insert(place);
    }
    EXPECT_EQ(places.size(), names.size());
    // A store that was made before names were told apart.
    makePreferencesFolder(folder + "/VelmoraKit/a_b/preferences.sqlite", false);
    EXPECT_EQ(defaultPreferencesPath("a/b"), folder + "/VelmoraKit/a_b/preferences.sqlite");
    ::unsetenv("XDG_STATE_HOME");
}

TEST_F(PreferencesTrustTests, TheDefaultPlaceIsMadeThroughNoLink) {
    ::unsetenv("XDG_STATE_HOME");
    ::setenv("HOME", folder.c_str(), 1);
    std::filesystem::create_directory(folder + "/elsewhere");
    std::filesystem::create_directory_symlink(folder + "/elsewhere", folder + "/.local");
    path.clear();
    open()->setObject(Value::integer(1), "key");
    EXPECT_EQ(log->countContaining("is a symbolic link or not a folder"), 1u);
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/elsewhere"));
    std::filesystem::remove(folder + "/.local");
    open()->setObject(Value::integer(1), "key");
    EXPECT_EQ(open()->objectForKey("key").integerValue(), 1);
    EXPECT_TRUE(std::filesystem::exists(folder + "/.local/state/VelmoraKit"));
}

/// Run by the test below as a program with more rights than its caller.
TEST_F(PreferencesTrustTests, DISABLED_ASetuidProgram) {
    const char *callers = std::getenv("XDG_STATE_HOME");
    ASSERT_NE(callers, nullptr);
    EXPECT_NE(::getuid(), ::geteuid());
    EXPECT_FALSE(defaultPreferencesPath("app").starts_with(callers));
    ::unsetenv("XDG_STATE_HOME");
    EXPECT_FALSE(defaultPreferencesPath("app").starts_with(callers)) << "HOME";
}

TEST_F(PreferencesTrustTests, TheCallerOfASetuidProgramDoesNotChooseItsStore) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "nobody can look for leaks in a program with more rights than its caller";
#endif
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs the right to make such a program";
    const std::string program = folder + "/program";
    std::filesystem::copy_file("/proc/self/exe", program);
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(::chown(program.c_str(), other, other), 0);
    ASSERT_EQ(::chmod(program.c_str(), 04755), 0);
    EXPECT_EQ(inChild([&] {
                  ::setenv("XDG_STATE_HOME", "/tmp/callers", 1);
                  ::setenv("HOME", "/tmp/callers", 1);
                  if (::setuid(other + 1) != 0)
                      return 2;
                  ::execl(program.c_str(), "program", "--gtest_also_run_disabled_tests",
                          "--gtest_filter=*DISABLED_ASetuidProgram", nullptr);
                  return 3;
              }),
              0);
}

} // namespace
} // namespace vmr::test
