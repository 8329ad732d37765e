#pragma once

#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace vmr::test {

/// Purposes 1 to 4 and vendors 2, 4 and 5 with consent, vendor 3 with legitimate interest in
/// purpose 7, and vendor 9 restricted in purpose 2: of 2.3, and sound.
inline constexpr const char *sound = "CQdWToAQdWToAAfKABENB-FgAPAAAAIAAAYgAClgAGIAISACAAk.IACng";

/// Starts the command-line program.
inline Program velmora(std::vector<std::string> arguments,
                       const std::string &program = VELMORA_PROGRAM) {
    arguments.insert(arguments.begin(), program);
    return Program(std::move(arguments));
}

} // namespace vmr::test
