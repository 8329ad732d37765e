#include "linux/PreferencesFixture.h"
#include "platform/linux/preferences/PreferencesFile.h"
#include "platform/linux/preferences/PreferencesInspection.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace vmr::test {
namespace {

using PreferencesRefusalTests = PreferencesTest;

/// Works in memory, says so once, names the trouble, and has changed nothing.
void expectRefused(SQLitePreferences &preferences, RecordingLog &log, const std::string &why) {
    EXPECT_FALSE(preferences.synchronize()); // of a log that is not there
    EXPECT_FALSE(preferences.synchronize());
    preferences.setObject(Value::integer(1), "key");
    preferences.setObject(Value::integer(2), "key");
    preferences.synchronize();
    EXPECT_EQ(preferences.objectForKey("key").integerValue(), 2);
    ASSERT_EQ(log.lines().size(), 1u) << why;
    EXPECT_NE(log.lines()[0].find(why), std::string::npos) << log.lines()[0];
    EXPECT_NE(log.lines()[0].find(preferences.path()), std::string::npos) << log.lines()[0];
    log.clear();
}

TEST_F(PreferencesRefusalTests, RefusesWhatCannotBeTrusted) {
    const std::string target = folder + "/target";
    std::ofstream(target).close();
    std::filesystem::create_symlink(target, path);
    expectRefused(*open(), *log, "symbolic link");
    EXPECT_EQ(std::filesystem::file_size(target), 0u);
    std::filesystem::remove(path);

    std::filesystem::create_directory(path);
    expectRefused(*open(), *log, "not a regular file");
    std::filesystem::remove(path);

    std::ofstream(path).close();
    ::chmod(path.c_str(), 0620);
    expectRefused(*open(), *log, "can be written by other users");
    ::chmod(path.c_str(), 0600);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
        expectRefused(*open(), *log, "belongs to another user");
    }
    std::filesystem::remove(path);
    std::filesystem::create_symlink(target, path + "-wal");
    expectRefused(*open(), *log, "companion -wal");
}

TEST_F(PreferencesRefusalTests, AStoreThatWasNeverOpenedCanBeSynchronized) {
    PreferencesOwnership ownership(path);
    PreferencesFile file(false, false, ownership);
    EXPECT_EQ(file.lookForForeignCommits(), PreferencesFile::Foreign::none);
    file.checkpoint();
    // A folder in the file's place, and a file that could not be set aside.
    std::filesystem::create_directory(path);
    {
        const auto preferences = open();
        preferences->synchronize();
        preferences->setObject(Value::integer(1), "a");
        preferences->synchronize();
        EXPECT_EQ(inChild([&] {
                      preferences->synchronize();
                      return preferences->objectForKey("a").integerValue() == 1 ? 0 : 1;
                  }),
                  0);
    }
    std::filesystem::remove(path);
    { open()->setObject(Value::integer(1), "a"); }
    const auto owner = open();
    owner->setObject(Value::integer(2), "a");
    std::ofstream(path) << std::string(10'000, 'g');
    const auto preferences = open();
    preferences->setObject(Value::integer(3), "a");
    preferences->synchronize();
    EXPECT_EQ(preferences->objectForKey("a").integerValue(), 3);
}

TEST_F(PreferencesRefusalTests, RefusesFoldersThatCannotBeTrusted) {
    const std::string inner = folder + "/inner";
    std::filesystem::create_directory(inner);
    path = inner + "/preferences.sqlite";
    ::chmod(inner.c_str(), 0500);
    ::chmod(folder.c_str(), 0755);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(inner.c_str(), 12345, 12345), 0);
        EXPECT_EQ(inChild([&] {
                      if (::setuid(12345) != 0)
                          return 2;
                      expectRefused(*open(), *log, "may not write");
                      ::setenv("XDG_STATE_HOME", inner.c_str(), 1);
                      path.clear();
                      expectRefused(*open(), *log, "cannot be made (Permission denied)");
                      return HasFailure() ? 1 : 0;
                  }),
                  0);
        ASSERT_EQ(::chown(inner.c_str(), 0, 0), 0);
    }
    ::chmod(inner.c_str(), 0777);
    expectRefused(*open(), *log, "where other users may write");
    std::filesystem::create_directory_symlink(inner, folder + "/link");
    path = folder + "/link/preferences.sqlite";
    expectRefused(*open(), *log, "symbolic link");
    std::filesystem::remove(inner);
    path = inner + "/preferences.sqlite";
    expectRefused(*open(), *log, "does not exist");
    EXPECT_FALSE(std::filesystem::exists(inner));
}

TEST_F(PreferencesRefusalTests, ARelativePathFromARemovedFolderLeadsNowhere) {
    const std::filesystem::path place = std::filesystem::current_path();
    std::filesystem::create_directory(folder + "/gone");
    std::filesystem::current_path(folder + "/gone");
    std::filesystem::remove(folder + "/gone");
    const PreferencesInspection found = inspectPreferences("preferences.sqlite", false, false);
    std::filesystem::current_path(place);
    EXPECT_NE(found.trouble.text.find("in the folder ., which does not exist"), std::string::npos);
}

TEST_F(PreferencesRefusalTests, LeavesNewerAndForeignDatabasesAlone) {
    {
        OtherConnection other(path);
        other.execute("CREATE TABLE preferences(a); PRAGMA user_version=3");
    }
    expectRefused(*open(), *log, "newer program (format 3)");
    EXPECT_EQ(OtherConnection(path).text("PRAGMA user_version"), "3");
    OtherConnection(path).execute("DROP TABLE preferences; CREATE TABLE songs(a);"
                                  "PRAGMA user_version=0");
    expectRefused(*open(), *log, "database of another program");
    OtherConnection(path).execute("DROP TABLE songs; CREATE TABLE preferences(a)");
    expectRefused(*open(), *log, "not laid out as a preferences file");
}

TEST_F(PreferencesRefusalTests, AFileOfAnotherKindIsNeverTouched) {
    for (const std::size_t size : {1U, 2U, 10U, 511U, 512U, 10'000U}) {
        const std::string text(size, 'g');
        for (const char *suffix : {"", "-journal"}) {
            std::ofstream(path + suffix) << text;
            ::chmod((path + suffix).c_str(), 0644);
        }
        SQLitePreferencesOptions asTool = options();
        asTool.isTool = true;
        const std::string why = "is not a preferences file";
        expectRefused(*open(), *log, why);
        expectRefused(*SQLitePreferences::make(asTool), *log, why);
        EXPECT_NE(inspectPreferences(path, false, false).trouble.text.find(why), std::string::npos);
        for (const char *suffix : {"", "-journal"}) {
            std::ifstream file(path + suffix);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text) << suffix;
            struct stat status {};
            EXPECT_EQ(::stat((path + suffix).c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 0777, 0644u);
        }
    }
    std::filesystem::remove(path + "-journal");
    std::ofstream(path).close(); // somebody has made it for the store
    open()->setObject(Value::integer(1), "key");
    EXPECT_EQ(open()->objectForKey("key").integerValue(), 1);
    EXPECT_TRUE(log->lines().empty());
}

} // namespace
} // namespace vmr::test
