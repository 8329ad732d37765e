#include "support/Program.h"
#include "support/RawServer.h"

#include <gtest/gtest.h>

#include <chrono>

namespace vmr::test {
namespace {

constexpr int wellEnded = 7;

TEST(ProcessEnd, IsCleanAndPromptDuringAnExchange) {
    for (const char *mode : {"exit", "quick_exit", "return"}) {
        for (const char *scheme : {"http", "https"}) {
            RawServer server(silence);
            Program host({EXCHANGE_AT_END, mode, server.address(scheme)});
            ASSERT_TRUE(server.waitForConnections(1));
            const auto told = std::chrono::steady_clock::now();
            host.write("go on");
            EXPECT_EQ(host.wait(), wellEnded) << mode << ' ' << scheme << host.errors();
            EXPECT_LT(std::chrono::steady_clock::now() - told, std::chrono::seconds(20));
        }
    }
}

TEST(ProcessEnd, IsCleanWhileTheLibraryStarts) {
    RawServer server(silence);
    for (int i = 0; i < 20; ++i) {
        Program host({EXCHANGE_AT_END, "exit-at-once", server.address("https")});
        EXPECT_EQ(host.wait(), wellEnded) << host.errors();
    }
}

TEST(ProcessEnd, MayComeFromACompletion) {
    RawServer server(answerAlways(httpResponse("200 OK", "")));
    Program host({EXCHANGE_AT_END, "exit-in-completion", server.address()});
    EXPECT_EQ(host.wait(), wellEnded) << host.errors();
}

TEST(ProcessEnd, OfAForkedChildLeavesTheParentsExchangeAlone) {
    Mutex mutex;
    ConditionVariable changed;
    bool childEnded = false;
    RawServer server([&](RawServer::Connection &connection) {
        connection.readRequest();
        const MutexLock lock(mutex);
        while (!childEnded)
            changed.wait(mutex);
        connection.write(httpResponse("200 OK", ""));
    });
    Program host({EXCHANGE_AT_END, "fork", server.address()});
    ASSERT_TRUE(server.waitForConnections(1));
    host.write("go on");
    host.read(); // the child has ended
    {
        const MutexLock lock(mutex);
        childEnded = true;
    }
    changed.notify_all();
    EXPECT_EQ(host.wait(), wellEnded) << host.errors();
    EXPECT_EQ(server.connections(), 1u);
}

TEST(ProcessLimits, AnExchangeWithoutDescriptorsFailsAndALaterOneWorks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers need descriptors to look at an object's type";
#endif
    RawServer server(answerAlways(httpResponse("200 OK", "")));
    Program host({EXCHANGE_AT_END, "no-descriptors", server.address()});
    EXPECT_EQ(host.wait(), wellEnded) << host.errors();
}

} // namespace
} // namespace vmr::test
