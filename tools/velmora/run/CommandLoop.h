#pragma once

namespace velmora {

class Commands;

/// Reads commands from standard input and answers them on standard output, while the main run
/// loop goes on working, until "quit" or the end of the input.
void runCommandLoop(const Commands &commands);

} // namespace velmora
