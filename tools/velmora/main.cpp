#include "CommandError.h"
#include "SecretOption.h"
#include "Subcommands.h"
#include "Text.h"

#include <CLI/CLI.hpp>
#include <fcntl.h>

#include <cstdio>

namespace {

int refuse(const char *argument) {
    std::fprintf(stderr, "velmora: \"%s\" is not valid UTF-8; give the argument in UTF-8\n",
                 velmora::escaped(argument).c_str());
    return velmora::usageError;
}

void complain(const std::exception &problem) {
    std::fprintf(stderr, "velmora: %s\n", velmora::visible(problem.what()).c_str());
}

/// The first argument that stands where a subcommand must and is none; null when there is none.
const char *unknownSubcommand(const CLI::App &app, int argc, char **argv) {
    const CLI::App *level = &app;
    for (int i = 1; i < argc && level->get_require_subcommand_min() > 0; ++i) {
        if (argv[i][0] == '-')
            return nullptr;
        const auto named = level->get_subcommands(
            [&](const CLI::App *each) { return each->get_name() == argv[i]; });
        if (named.empty())
            return argv[i];
        level = named.front();
    }
    return nullptr;
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
    app.failure_message([](const CLI::App *, const CLI::Error &problem) {
        return velmora::visible(problem.what()) + "\nRun with --help for more information.\n";
    });
    app.set_version_flag("--version", "velmora " VELMORA_VERSION);
    for (velmora::AddSubcommand *add : velmora::subcommands)
        add(app);

    if (const char *unknown = unknownSubcommand(app, argc, argv)) {
        std::fprintf(stderr, "velmora: \"%s\" is not a subcommand; see --help\n",
                     velmora::visible(unknown).c_str());
        return velmora::usageError;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError &status) {
        return status.get_exit_code();
    } catch (const CLI::ParseError &problem) {
        return app.exit(problem) == 0 ? 0 : velmora::usageError;
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
