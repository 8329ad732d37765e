#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr::test {

/// A program that the test talks to over its standard input and output. Killed and reaped when
/// the object goes.
class ChildProcess {
public:
    /// Bound for everything that is awaited; far more than any of it takes.
    static constexpr double patience = 60;

    /// `environment` holds NAME=VALUE entries beside the test's own.
    explicit ChildProcess(std::vector<std::string> arguments,
                          const std::vector<std::string> &environment = {});
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    ~ChildProcess();

    pid_t id() const { return id_; }

    void write(std::string_view text);
    void closeInput();
    /// The next line of standard output; nothing at its end.
    std::optional<std::string> readLine();
    /// Sends a line and gives the line that answers it, empty when there is none.
    std::string ask(std::string_view line);

    void signal(int number);
    /// Waits for the end: the exit status, or the negative number of the signal that ended it.
    int wait();
    /// What it has written to standard error so far.
    std::string errors() const;

private:
    pid_t id_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string buffer_;
};

} // namespace vmr::test
