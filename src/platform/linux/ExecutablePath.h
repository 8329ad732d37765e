#pragma once

#include <string>

namespace vmr {

/// The running program's file, with " (deleted)" behind it where it was removed or replaced; empty
/// where the system does not tell.
std::string executablePath();

} // namespace vmr
