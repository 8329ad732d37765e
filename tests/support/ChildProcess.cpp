#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

namespace vmr::test {
namespace {

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (std::string &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> withOwnEnvironment(std::vector<std::string> additions) {
    for (char **entry = environ; *entry != nullptr; ++entry)
        additions.emplace_back(*entry); // getenv finds the first of two
    return additions;
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments,
                           const std::vector<std::string> &environment) {
    int in[2];
    int out[2];
    // A socket, so that writing to a program that has ended raises no signal.
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, in));
    EXPECT_EQ(0, pipe2(out, O_CLOEXEC));
    errors_ = memfd_create("errors", MFD_CLOEXEC);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors_, STDERR_FILENO);
    std::vector<std::string> variables = withOwnEnvironment(environment);
    EXPECT_EQ(0, posix_spawn(&id_, arguments.front().c_str(), &actions, nullptr,
                             pointers(arguments).data(), pointers(variables).data()))
        << arguments.front();
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = out[0];
}

ChildProcess::~ChildProcess() {
    if (id_ > 0) {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    closeInput();
    close(output_);
    close(errors_);
}

void ChildProcess::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = send(input_, text.data(), text.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void ChildProcess::closeInput() {
    if (input_ >= 0)
        close(input_);
    input_ = -1;
}

std::optional<std::string> ChildProcess::readLine() {
    const double end = now() + patience;
    for (;;) {
        const std::size_t length = buffer_.find('\n');
        if (length != std::string::npos) {
            std::string line = buffer_.substr(0, length);
            buffer_.erase(0, length + 1);
            return line;
        }
        pollfd waiting{output_, POLLIN, 0};
        const double left = end - now();
        if (left <= 0 || poll(&waiting, 1, static_cast<int>(left * 1000) + 1) == 0) {
            ADD_FAILURE() << "no line came; standard error: " << errors();
            return std::nullopt;
        }
        char bytes[4096];
        const ssize_t count = read(output_, bytes, sizeof bytes);
        if (count == 0)
            return std::nullopt;
        if (count > 0)
            buffer_.append(bytes, static_cast<std::size_t>(count));
    }
}

std::string ChildProcess::ask(std::string_view line) {
    write(std::string(line) + "\n");
    return readLine().value_or("");
}

void ChildProcess::signal(int number) {
    kill(id_, number);
}

int ChildProcess::wait() {
    const double end = now() + patience;
    int status = 0;
    while (waitpid(id_, &status, WNOHANG) == 0) {
        if (now() > end) {
            ADD_FAILURE() << "the program does not end; standard error: " << errors();
            kill(id_, SIGKILL);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    id_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::string ChildProcess::errors() const {
    std::string text(static_cast<std::size_t>(lseek(errors_, 0, SEEK_END)), '\0');
    const ssize_t count = pread(errors_, text.data(), text.size(), 0);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
}

} // namespace vmr::test
