#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora {

/// What the words of a command line name, as far as they name subcommands, and the words behind.
struct Command {
    const CLI::App *app;
    std::string name; ///< "velmora prefs get"
    std::vector<std::string> rest;
    /// Whether another subcommand must follow, and nothing does.
    bool isUnfinished() const;
};
Command commandOf(const CLI::App &app, int argc, char **argv);

/// What a person must have meant who wrote this; empty where that cannot be told.
std::string misuseOf(const Command &command);

} // namespace velmora
