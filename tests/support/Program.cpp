#include "support/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace vmr::test {
namespace {

constexpr int patience = 60'000;

[[maybe_unused]] const bool withoutEnvironment = [] {
    leaveEnvironment();
    return true;
}();

} // namespace

void leaveEnvironment() {
    for (const char *name :
         {"https_proxy", "HTTPS_PROXY", "http_proxy", "all_proxy", "ALL_PROXY", "no_proxy",
          "NO_PROXY", "SSLKEYLOGFILE", "TZ", "VELMORA_API_KEY", "VELMORA_SECRET", "XDG_STATE_HOME"})
        unsetenv(name);
}

Program::Program(std::vector<std::string> words) {
    std::signal(SIGPIPE, SIG_IGN);
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    errors_ = memfd_create("errors", MFD_CLOEXEC);

    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    pid_ = fork();
    if (pid_ == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(errors_, STDERR_FILENO);
        std::signal(SIGPIPE, SIG_DFL);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = out[0];
}

Program::~Program() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeInput();
    close(output_);
    close(errors_);
}

void Program::write(const std::string &line) {
    const std::string text = line + "\n";
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(input_, text.data() + done, text.size() - done);
        if (count < 0)
            throw std::runtime_error("the program takes no input: " + errors());
        done += static_cast<std::size_t>(count);
    }
}

void Program::closeInput() {
    if (input_ >= 0)
        close(input_);
    input_ = -1;
}

bool Program::fill() {
    pollfd watched{output_, POLLIN, 0};
    if (poll(&watched, 1, patience) <= 0)
        throw std::runtime_error("no output for a minute: " + errors());
    std::array<char, 65536> piece{};
    const ssize_t count = ::read(output_, piece.data(), piece.size());
    if (count > 0)
        buffer_.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0;
}

nlohmann::json Program::read() {
    std::size_t end = 0;
    while ((end = buffer_.find('\n')) == std::string::npos)
        if (!fill())
            throw std::runtime_error("the output has ended: " + errors());
    const std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return nlohmann::json::parse(line);
}

void Program::signal(int number) {
    kill(pid_, number);
}

int Program::wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Program::rest() {
    while (fill()) {
    }
    return std::exchange(buffer_, {});
}

std::string Program::errors() const {
    std::string text(1 << 20, '\0');
    const ssize_t count = pread(errors_, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

nlohmann::json ask(Program &program, const std::string &line) {
    program.write(line);
    return program.read();
}

} // namespace vmr::test
