#include "CommandError.h"
#include "Misuse.h"
#include "SecretOption.h"
#include "Subcommands.h"
#include "Text.h"

#include <CLI/CLI.hpp>
#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

int refuse(const char *argument) {
    std::fprintf(stderr, "velmora: \"%s\" is not valid UTF-8; give the argument in UTF-8\n",
                 velmora::escaped(argument).c_str());
    return velmora::usageError;
}

void complain(const std::exception &problem) {
    std::fprintf(stderr, "velmora: %s\n", velmora::visible(problem.what()).c_str());
}

int refuse(const velmora::Command &command, const std::string &why) {
    std::fprintf(stderr, "%s: %s; see %s --help\n", command.name.c_str(),
                 velmora::visible(why).c_str(), command.name.c_str());
    return velmora::usageError;
}

/// Else the next file that is opened would be taken for standard input or output.
void openWhatIsClosed() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0)
            return;
}

} // namespace

int main(int argc, char **argv) {
    openWhatIsClosed();
    for (int i = 1; i < argc; ++i)
        if (!velmora::isValidUTF8(argv[i]))
            return refuse(argv[i]);
    velmora::warnOfSecret(argc, argv);

    CLI::App app("Runs, serves and inspects VelmoraKit from the command line", "velmora");
    app.require_subcommand(1);
    app.set_version_flag("--version", "velmora " VELMORA_VERSION);
    for (velmora::AddSubcommand *add : velmora::subcommands)
        add(app);

    const velmora::Command command = velmora::commandOf(app, argc, argv);
    std::vector<std::string> words(argv + 1, argv + argc);
    if (command.isUnfinished())
        words.emplace_back("--help");
    std::reverse(words.begin(), words.end()); // as the parser takes them
    try {
        app.parse(words);
    } catch (const CLI::RuntimeError &status) {
        return status.get_exit_code();
    } catch (const CLI::ParseError &problem) {
        if (problem.get_exit_code() == 0)
            return app.exit(problem) + (command.isUnfinished() ? velmora::usageError : 0);
        const std::string misuse = velmora::misuseOf(command);
        return refuse(command, misuse.empty() ? problem.what() : misuse);
    } catch (const velmora::CommandError &problem) {
        complain(problem);
        return velmora::usageError;
    } catch (const std::exception &problem) {
        complain(problem);
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fputs("velmora: not everything could be written to standard output\n", stderr);
        return 1;
    }
    return 0;
}
