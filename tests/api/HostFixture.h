#pragma once

#include "support/Program.h"
#include "support/TemporaryFolder.h"

#include <VelmoraKit/VelmoraKit.h>

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>

namespace vmr::test {

/// The line is one of recorded.txt; with VELMORA_RECORD in the environment it becomes one.
inline void expectRecorded(const std::string &line) {
    if (std::getenv("VELMORA_RECORD") != nullptr)
        std::ofstream(RECORDED, std::ios::app) << line << '\n';
    std::ifstream recorded(RECORDED);
    std::string one;
    while (std::getline(recorded, one) && one != line)
        ;
    EXPECT_EQ(one, line);
}

/// A host application with a preferences file of its own. The SDK is one a process, so every test
/// needs a process of its own, which CTest gives it.
class HostTest : public testing::Test {
protected:
    HostTest() { leaveEnvironment(); }
    velmora_options options() const {
        velmora_options options;
        velmora_options_init(&options, sizeof options);
        options.store_path = store_.c_str();
        options.bundle_identifier = "com.example.test";
        options.ingest_base_address = "http://127.0.0.1:1/";
        return options;
    }
    void configure() const {
        const velmora_options given = options();
        ASSERT_EQ(VELMORA_OK, velmora_configure(&given)) << velmora_last_error_message();
    }
    /// As another program does that opens the store.
    void execute(const char *statements) const {
        sqlite3 *database = nullptr;
        EXPECT_EQ(SQLITE_OK, sqlite3_open(store_.c_str(), &database));
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, statements, nullptr, nullptr, nullptr));
        sqlite3_close(database);
    }
    /// The lines that a host with these options gets from now on.
    static const std::string &linesFor(velmora_options &options) {
        static std::mutex mutex;
        static std::string lines; // the SDK may have something to say until the process ends
        options.log_callback = [](const char *line, std::size_t length, void *) {
            const std::lock_guard lock(mutex);
            lines.append(line, length).append("\n");
        };
        return lines;
    }
    static void runUntilIdle() {
        int isIdle = 0;
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_run_until_idle(60, &isIdle));
        EXPECT_EQ(1, isIdle);
    }

    TemporaryFolder folder_;
    const std::string store_ = folder_.file("store.db");
};

} // namespace vmr::test
