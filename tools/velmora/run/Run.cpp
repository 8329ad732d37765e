#include "Subcommands.h"

#include <CLI/CLI.hpp>

namespace velmora {

void addRun(CLI::App &app) {
    app.add_subcommand("run", "Plays a host application that takes commands on standard input");
}

} // namespace velmora
