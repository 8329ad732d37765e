#include "Misuse.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <numeric>
#include <string_view>

namespace velmora {
namespace {

/// How many characters must be put in, taken out or replaced.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// The name that is meant; empty where none is like it.
std::string nearest(const std::string &word, const std::vector<std::string> &names) {
    constexpr std::size_t longest = 64;
    std::string best;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string &name : names) {
        const std::size_t away = word.size() > longest ? least : distance(word, name);
        if (away < least) {
            least = away;
            best = name;
        }
    }
    return best;
}

std::vector<std::string> subcommandsOf(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *each : app.get_subcommands({}))
        names.push_back(each->get_name());
    return names;
}

std::vector<std::string> optionsOf(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *each : app.get_options())
        for (const std::string &name : each->get_lnames())
            names.push_back("--" + name);
    return names;
}

bool takesWords(const CLI::App &app) {
    const auto options = app.get_options();
    return std::any_of(options.begin(), options.end(),
                       [](const CLI::Option *each) { return each->get_positional(); });
}

std::string meant(const std::string &name) {
    return name.empty() ? "" : ", perhaps " + name + " is meant";
}

} // namespace

bool Command::isUnfinished() const {
    return rest.empty() && app->get_require_subcommand_min() > 0;
}

Command commandOf(const CLI::App &app, int argc, char **argv) {
    Command command{&app, app.get_name(), {argv + 1, argv + argc}};
    while (!command.rest.empty()) {
        const auto named = command.app->get_subcommands(
            [&](const CLI::App *each) { return each->get_name() == command.rest.front(); });
        if (named.empty())
            break;
        command.app = named.front();
        command.name += " " + command.rest.front();
        command.rest.erase(command.rest.begin());
    }
    return command;
}

std::string misuseOf(const Command &command) {
    const CLI::App &app = *command.app;
    const std::vector<std::string> subcommands = subcommandsOf(app);
    if (!command.rest.empty() && !subcommands.empty() && !command.rest.front().starts_with('-'))
        return "\"" + command.rest.front() + "\" is not a subcommand" +
               meant(nearest(command.rest.front(), subcommands));
    for (const std::string &word : command.rest) {
        const std::string name = word.substr(0, word.find('='));
        if (name == "--")
            break;
        if (name.size() < 2 || name.front() != '-' || app.get_option_no_throw(name) != nullptr)
            continue;
        const std::string option = nearest(name, optionsOf(app));
        return "\"" + name + "\" is not an option" +
               (option.empty() && takesWords(app) ? "; put -- before a value that begins with \"-\""
                                                  : meant(option));
    }
    return "";
}

} // namespace velmora
