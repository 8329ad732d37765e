#include "support/RawServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace vmr::test {
namespace {

constexpr int wellEnded = 7;

/// The host program of these tests, and the pipes to its standard input and output.
class Host {
public:
    Host(const std::string &mode, const std::string &url) {
        int input[2];
        int output[2];
        if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input[0], 0);
        ::posix_spawn_file_actions_adddup2(&actions, output[1], 1);
        std::string arguments[] = {HOST_PROGRAM, mode, url};
        char *argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
        if (::posix_spawn(&pid_, HOST_PROGRAM, &actions, nullptr, argv, environ) != 0)
            throw std::runtime_error("no host program");
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(input[0]);
        ::close(output[1]);
        input_ = input[1];
        output_ = output[0];
    }
    ~Host() {
        ::close(input_);
        ::close(output_);
    }

    void goOn() { EXPECT_EQ(::write(input_, "x", 1), 1); }
    /// Waits for a byte of the host.
    bool waitForSign() {
        char byte = 0;
        return ::read(output_, &byte, 1) == 1;
    }
    /// The exit status; a host that does not end is killed and has -1.
    int status() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        int status = 0;
        while (::waitpid(pid_, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, &status, 0);
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t pid_ = 0;
    int input_ = -1;
    int output_ = -1;
};

void silence(RawServer::Connection &connection) {
    connection.waitForClose();
}

TEST(ProcessEnd, IsCleanAndPromptDuringAnExchange) {
    for (const char *mode : {"exit", "quick_exit", "return"}) {
        for (const char *scheme : {"http", "https"}) {
            RawServer server(silence);
            Host host(mode, server.address(scheme));
            ASSERT_TRUE(server.waitForConnections(1));
            host.goOn();
            EXPECT_EQ(host.status(), wellEnded) << mode << ' ' << scheme;
        }
    }
}

TEST(ProcessEnd, IsCleanWhileTheLibraryStarts) {
    RawServer server(silence);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Host("exit-at-once", server.address("https")).status(), wellEnded);
}

TEST(ProcessEnd, MayComeFromACompletion) {
    RawServer server(answerAlways(httpResponse("200 OK", "")));
    EXPECT_EQ(Host("exit-in-completion", server.address()).status(), wellEnded);
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
    Host host("fork", server.address());
    ASSERT_TRUE(server.waitForConnections(1));
    host.goOn();
    EXPECT_TRUE(host.waitForSign());
    {
        const MutexLock lock(mutex);
        childEnded = true;
    }
    changed.notify_all();
    EXPECT_EQ(host.status(), wellEnded);
    EXPECT_EQ(server.connections(), 1u);
}

TEST(ProcessLimits, AnExchangeWithoutDescriptorsFailsAndALaterOneWorks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers need descriptors to look at an object's type";
#endif
    RawServer server(answerAlways(httpResponse("200 OK", "")));
    EXPECT_EQ(Host("no-descriptors", server.address()).status(), wellEnded);
}

TEST(ProcessLimits, ProgramsThatTheHostStartsInheritNoDescriptor) {
    RawServer server(answerAlways(httpResponse("200 OK", "")));
    EXPECT_EQ(Host("descriptors", server.address()).status(), wellEnded);
}

} // namespace
} // namespace vmr::test
