#pragma once

#include "platform/linux/loops/EpollRunLoop.h"
#include "platform/linux/preferences/SQLitePreferences.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vmr::test {

/// A second connection to the file, as another program opens it.
class OtherConnection {
public:
    explicit OtherConnection(const std::string &path) {
        sqlite3_open(path.c_str(), &database_);
        sqlite3_busy_timeout(database_, 20'000);
        execute("PRAGMA wal_autocheckpoint=0");
    }
    ~OtherConnection() { sqlite3_close(database_); }
    OtherConnection(const OtherConnection &) = delete;
    OtherConnection &operator=(const OtherConnection &) = delete;

    void execute(const std::string &sql) {
        char *error = nullptr;
        EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
            << (error ? error : "");
        sqlite3_free(error);
    }
    std::string text(const std::string &sql) {
        sqlite3_stmt *statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database_);
        std::string result = "no row";
        if (sqlite3_step(statement) == SQLITE_ROW) {
            const auto *found = reinterpret_cast<const char *>(sqlite3_column_text(statement, 0));
            result = found ? found : "NULL";
        }
        sqlite3_finalize(statement);
        return result;
    }

private:
    sqlite3 *database_ = nullptr;
};

/// Keeps what it was told.
class RecordingObserver final : public KeyValueObserver {
public:
    struct Call {
        Value before;
        Value after;
        void *context;
    };
    void observeValueForKeyPath(const std::string &, const Preferences *, const Dictionary &change,
                                void *context) override {
        calls.push_back({change.at("old"), change.at("new"), context});
        EXPECT_EQ(change.at("kind").integerValue(), 1);
    }
    std::vector<Call> calls;
};

/// Does what the test says.
struct FunctionObserver final : KeyValueObserver {
    void observeValueForKeyPath(const std::string &, const Preferences *, const Dictionary &change,
                                void *) override {
        call(change);
    }
    std::function<void(const Dictionary &)> call;
};

/// A fresh folder, a log and a run loop that the test runs.
class PreferencesTest : public testing::Test {
protected:
    SQLitePreferencesOptions options() {
        SQLitePreferencesOptions result;
        result.path = path;
        static constexpr std::string_view watchedKeys[] = {"key"};
        result.watchedKeys = watchedKeys;
        result.log = log;
        result.loop = loop;
        return result;
    }
    std::shared_ptr<SQLitePreferences> open() { return SQLitePreferences::make(options()); }
    /// Makes a file of version 1 with these rows.
    void makeVersion1(const std::string &rows) {
        OtherConnection(path).execute("CREATE TABLE preferences(key TEXT PRIMARY KEY NOT NULL,"
                                      "type TEXT NOT NULL,value); PRAGMA user_version=1;"
                                      "INSERT INTO preferences VALUES" +
                                      rows);
        std::filesystem::permissions(path, std::filesystem::perms(0600));
    }
    bool runUntil(const std::function<bool()> &done) { return loop->runUntil(30, done); }
    /// Waits for what another thread does, without the loop.
    static bool await(const std::function<bool()> &done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!done()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
    /// Runs in a child without threads of its own; gives its exit status or minus its signal.
    static int inChild(const std::function<int()> &work) {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(work());
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    TemporaryFolder temporary;
    std::string folder = temporary.path();
    std::string path = folder + "/preferences.sqlite";
    std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
    std::shared_ptr<EpollRunLoop> loop = std::make_shared<EpollRunLoop>(*log);
};

} // namespace vmr::test
