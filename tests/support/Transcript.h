#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::test {

/// The text of everything that could be seen in a scenario. One was recorded under tests/golden and
/// checked; a later run must give the same one.
class Transcript {
public:
    void heading(std::string_view what);
    /// One thing that was seen; further lines of it are indented.
    void add(const std::string &seen);
    /// From now on the name stands for a text that differs from run to run.
    void rename(std::string text, std::string name);
    /// Fails the test where the recording differs. With VELMORA_RECORD in the environment the
    /// recording is written instead.
    void expectRecorded(const std::string &name) const;

    /// The bytes as they are where they are printable ASCII, \xNN elsewhere, in lines; of very many
    /// bytes the first, and a digest of all.
    static std::string bytes(std::string_view bytes);

private:
    std::string text_;
    std::vector<std::pair<std::string, std::string>> names_;
};

} // namespace vmr::test
