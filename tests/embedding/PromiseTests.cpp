#include "support/LocalServer.h"
#include "support/Program.h"
#include "support/RawServer.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vmr::test {
namespace {

using namespace std::chrono_literals;

/// The network gives up after a minute; what waited for it would take longer than this.
constexpr auto prompt = 30s;

struct Activity {
    std::size_t threads = 0;
    std::uint64_t contextSwitches = 0;
};

/// What the kernel has counted for a process.
Activity activityOf(int pid) {
    Activity activity;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto &task : std::filesystem::directory_iterator(tasks)) {
        ++activity.threads;
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.find("ctxt_switches:") != std::string::npos)
                activity.contextSwitches += std::stoull(line.substr(line.find(':') + 1));
    }
    return activity;
}

/// Whether the process comes to rest: nothing of it runs for two seconds on end. Work that is done
/// once, like flushing to the disk, may come first.
bool comesToRest(int pid) {
    for (int window = 0; window < 6; ++window) {
        const std::uint64_t before = activityOf(pid).contextSwitches;
        std::this_thread::sleep_for(2s);
        if (activityOf(pid).contextSwitches == before)
            return true;
    }
    return false;
}

class PromiseTest : public testing::Test {
protected:
    TemporaryFolder folder_;
    const std::string store_ = folder_.file("store.db");
};

TEST_F(PromiseTest, CallsReturnAndTheProcessEndsWhileTheServerIsSilent) {
    for (const char *end : {"exit", "quick_exit", "return"}) {
        RawServer server(silence);
        Program host({HOST_OUTSTANDING, end, server.address(), store_});
        ASSERT_TRUE(server.waitForConnections(1)) << host.errors();
        const auto told = std::chrono::steady_clock::now();
        host.write("end");
        EXPECT_EQ(host.wait(), 7) << end << ": " << host.errors();
        EXPECT_LT(std::chrono::steady_clock::now() - told, prompt) << end;
    }
}

TEST_F(PromiseTest, ForkedChildrenCanDoNothingAndTheParentGoesOn) {
    LocalServer server;
    Program host({HOST_FORKING, server.address(), store_});
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_EQ(server.connections(), 1u); // the children left it alone
}

TEST_F(PromiseTest, StartedProgramsInheritNoDescriptor) {
    RawServer server(silence);
    Program host({HOST_INHERITING, server.address(), store_});
    ASSERT_TRUE(server.waitForConnections(1)) << host.errors();
    host.write("compare");
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_F(PromiseTest, TheProcessIsLeftAsItWasByPostsToAServerThatCloses) {
    RawServer server([](RawServer::Connection &) {});
    Program host({HOST_UNDISTURBED, server.address(), store_});
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_GE(server.connections(), 2u);
}

TEST_F(PromiseTest, NothingRunsWhileThereIsNothingToDo) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer has a thread of its own";
#endif
    LocalServer server;
    Program host({HOST_IDLING, server.address(), store_});
    const nlohmann::json started = host.read();
    const int pid = started["pid"];
    EXPECT_EQ(started["threads"], 1);
    EXPECT_TRUE(comesToRest(pid)) << "after the start";
    EXPECT_LE(activityOf(pid).threads, 2u); // main, store
    host.write("post");
    ASSERT_TRUE(server.waitForRequests(1)) << host.errors();
    EXPECT_TRUE(comesToRest(pid)) << "after a post";
    EXPECT_LE(activityOf(pid).threads, 4u); // main, network, jobs, store
    host.write("end");
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_F(PromiseTest, AHostThatUsesTheSameLibrariesIsNotDisturbed) {
    CertificateAuthority authority;
    const ServerCertificate certificate = authority.issue("IP:127.0.0.1");
    LocalServer server(certificate);
    Program host({HOST_SHARING, server.address(), store_, authority.file()});
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_EQ(server.requests().size(), 6u); // three of its own
}

} // namespace
} // namespace vmr::test
