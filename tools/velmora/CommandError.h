#pragma once

#include <stdexcept>

namespace velmora {

/// What makes an argument, or a line of commands, no good. Its text names the input and the remedy.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace velmora
