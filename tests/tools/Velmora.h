#pragma once

#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace vmr::test {

/// Starts the command-line program.
inline Program velmora(std::vector<std::string> arguments,
                       const std::string &program = VELMORA_PROGRAM) {
    arguments.insert(arguments.begin(), program);
    return Program(std::move(arguments));
}

} // namespace vmr::test
