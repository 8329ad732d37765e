#include "linux/PreferencesFixture.h"

#include <sys/stat.h>

#include <cmath>
#include <limits>
#include <thread>
#include <utility>

namespace vmr::test {
namespace {

using PreferencesStorageTests = PreferencesTest;

mode_t modeOf(const std::string &path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
}

TEST_F(PreferencesStorageTests, EveryTypeComesBackAfterReopening) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Dictionary values{
        {"boolean", Value::boolean(true)},
        {"data", Value::data(Data(std::string("\0\xff", 2)))},
        {"date", Value::date(Date{1614866767.123456})},
        {"dictionary", Value::dictionary({{"a", Value::list({Value::integer(1), Value::null()})}})},
        {"empty data", Value::data(Data(std::string()))},
        {"infinite", Value::real(-infinity)},
        {"integer", Value::integer(std::numeric_limits<std::int64_t>::min())},
        {"largeInteger", Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max())},
        {"list", Value::list({Value::date(Date{1.5}), Value::data(Data("x"))})},
        {"null", Value::null()},
        {"past", Value::date(Date::distantPast())},
        {"real", Value::real(5)},
        {std::string("nul\0key", 7), Value::string(std::string("a\0b", 3))},
        {"text", Value::string("caf\u00e9")}};
    {
        const auto preferences = open();
        for (const auto &[key, value] : values)
            preferences->setObject(value, key);
        preferences->setObject(Value::real(std::nan("")), "nan");
        preferences->setObject(Value::integer(1), "removed");
        preferences->removeObjectForKey("removed");
    }
    const auto preferences = open();
    EXPECT_EQ(preferences->keys().size(), values.size() + 1);
    for (const auto &[key, value] : values) {
        const Value found = preferences->objectForKey(key);
        EXPECT_EQ(found.type(), value.type()) << key;
        EXPECT_TRUE(found.isEqualTo(value)) << key << ": " << found.description();
    }
    EXPECT_TRUE(std::isnan(preferences->objectForKey("nan").asReal().value_or(0)));
    EXPECT_TRUE(log->lines().empty());
}

TEST_F(PreferencesStorageTests, ReadableByAnyProgram) {
    const auto preferences = open();
    preferences->setObject(Value::string("CO-x"), "IABTCF_TCString");
    preferences->setObject(Value::date(Date{1.5}), "date");
    preferences->setObject(Value::list({Value::integer(1)}), "list");
    OtherConnection other(path);
    EXPECT_EQ(other.text("PRAGMA user_version"), "2");
    EXPECT_EQ(other.text("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(other.text("SELECT group_concat(key||' '||type||' '||typeof(value)||' '||value,';') "
                         "FROM (SELECT * FROM preferences ORDER BY key)"),
              "IABTCF_TCString string text CO-x;date date real 1.5;list list text [1]");
}

TEST_F(PreferencesStorageTests, ForThisUserAloneWhateverTheUmask) {
    for (const mode_t mask : {0U, 077U, 0777U}) {
        const std::string home = folder + "/home" + std::to_string(mask);
        const std::string file = home + "/state/VelmoraKit/com.example/preferences.sqlite";
        std::filesystem::create_directory(home);
        const int result = inChild([&] {
            ::umask(mask);
            ::setenv("XDG_STATE_HOME", (home + "/state").c_str(), 1);
            SQLitePreferencesOptions named = options();
            named.path.clear();
            named.bundleIdentifier = "com.example";
            const auto preferences = SQLitePreferences::make(named);
            preferences->setObject(Value::integer(1), "key");
            preferences->synchronize();
            if (preferences->path() != file || ::umask(0) != mask)
                return 1;
            for (const char *suffix : {"", "-wal", "-shm", "-lock"}) {
                if (modeOf(file + suffix) != 0600)
                    return 2;
            }
            return modeOf(std::filesystem::path(file).parent_path()) == 0700 ? 0 : 3;
        });
        EXPECT_EQ(result, 0) << "umask " << mask;
    }
}

TEST_F(PreferencesStorageTests, ALateWriterFindsWhatTheWorkerWrote) {
    const auto preferences = open();
    preferences->setObject(Value::integer(0), "first");
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 2; ++writer)
        writers.emplace_back([&, writer] {
            for (int i = 0; i < 200; ++i) {
                preferences->setObject(Value::integer(i), "shared");
                preferences->setObject(Value::integer(i), "own " + std::to_string(writer));
                preferences->objectForKey("shared");
            }
        });
    for (std::thread &writer : writers)
        writer.join();
    const Value shared = preferences->objectForKey("shared");
    OtherConnection other(path);
    EXPECT_TRUE(await([&] {
        return other.text("SELECT value FROM preferences WHERE key='shared'") ==
               shared.description();
    }));
    EXPECT_TRUE(await([&] {
        return other.text("SELECT sum(value) FROM preferences WHERE key LIKE 'own%'") == "398";
    }));
}

TEST_F(PreferencesStorageTests, AForkedChildLeavesTheFileAlone) {
    const auto preferences = open();
    preferences->setObject(Value::string("parent"), "key");
    const int result = inChild([&] {
        if (preferences->stringForKey("key") != "parent")
            return 1;
        preferences->setObject(Value::string("child"), "key");
        preferences->synchronize();
        return preferences->stringForKey("key") == "child" ? 0 : 2;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(OtherConnection(path).text("SELECT value FROM preferences"), "parent");
    preferences->setObject(Value::string("again"), "key");
    EXPECT_EQ(OtherConnection(path).text("SELECT value FROM preferences"), "again");
}

TEST_F(PreferencesStorageTests, ATransactionIsWholeForOtherThreadsToo) {
    const auto preferences = open();
    const auto addMany = [&] {
        for (int count = 0; count < 200; ++count) {
            const auto whole = preferences->transaction();
            const std::int64_t last = preferences->objectForKey("key").integerValue();
            preferences->setObject(Value::integer(last + 1), "key");
        }
    };
    std::thread other(addMany);
    addMany();
    other.join();
    EXPECT_EQ(preferences->objectForKey("key").integerValue(), 400);
    EXPECT_TRUE(preferences->synchronizeWithin(std::chrono::seconds(30)));
    EXPECT_EQ(open()->objectForKey("key").integerValue(), 400);
}

TEST_F(PreferencesStorageTests, AnObserverMayWaitForAnotherWriter) {
    const auto preferences = open();
    bool first = true;
    const auto observer = std::make_shared<FunctionObserver>();
    observer->call = [&](const Dictionary &) {
        if (std::exchange(first, false))
            std::thread([&] { preferences->setObject(Value::integer(2), "other"); }).join();
    };
    preferences->addObserver(observer, "key", nullptr);
    preferences->setObject(Value::integer(1), "key");
    EXPECT_FALSE(first);
    EXPECT_EQ(OtherConnection(path).text("SELECT sum(value) FROM preferences"), "3");
}

TEST_F(PreferencesStorageTests, TheLogIsMovedInTheBackgroundByItsOwnerAlone) {
    const auto preferences = open();
    const auto size = [this] { return std::filesystem::file_size(path); };
    SQLitePreferencesOptions asTool = options();
    asTool.isTool = true;
    SQLitePreferences::make(asTool)->setObject(Value::data(Data(std::string(6'000'000, 'x'))),
                                               "big");
    EXPECT_LT(size(), 100'000u);
    preferences->setObject(Value::data(Data(std::string(6'000'000, 'y'))), "big");
    EXPECT_TRUE(await([&] { return size() > 6'000'000; }));
}

} // namespace
} // namespace vmr::test
