#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace velmora {

/// Cuts what comes in from standard input into lines.
class LineInput {
public:
    /// Takes what is there; false at the end of the input.
    bool read();
    /// The next whole line, or at the end what is left of the input.
    std::optional<std::string> nextLine(bool atEnd);
    /// Whether a line came that is longer than any command; it was left out. Asked once for each.
    bool takeTooLong();

private:
    std::string buffer_;
    std::size_t searched_ = 0;
    bool skipping_ = false;
    bool tooLong_ = false;
};

} // namespace velmora
