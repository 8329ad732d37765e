#pragma once

#include <nlohmann/json.hpp>
#include <sys/types.h>

#include <string>
#include <vector>

namespace vmr::test {

/// Removes the variables that a program would inherit and heed. Done before the first test, too.
void leaveEnvironment();

/// A running program, its input and output connected to the test. Ended with its object.
class Program {
public:
    /// The first word is the program's path.
    explicit Program(std::vector<std::string> words);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    void write(const std::string &line);
    void closeInput();
    /// The next line of output. Throws when none comes for a minute or the output has ended.
    nlohmann::json read();
    void signal(int number);
    /// Waits for the end; the exit status, or 128 and the signal.
    int wait();
    /// What is left of the output, up to its end.
    std::string rest();
    /// What it has written to standard error so far.
    std::string errors() const;

private:
    bool fill();

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string buffer_;
};

/// Writes a command and reads its answer.
nlohmann::json ask(Program &program, const std::string &line);

} // namespace vmr::test
