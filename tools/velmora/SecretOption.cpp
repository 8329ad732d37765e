#include "SecretOption.h"

#include "CommandError.h"
#include "Text.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string_view>

namespace velmora {
namespace {

std::string firstLineOf(const std::string &path) {
    std::ifstream file(path);
    std::array<char, 4096> bytes{};
    file.getline(bytes.data(), bytes.size());
    std::string line(bytes.data());
    if (line.ends_with('\r'))
        line.pop_back();
    if (!file || line.empty())
        throw CommandError("--secret-file: \"" + path +
                           "\" cannot be read, or its first line is empty or no secret; name a "
                           "file that holds the secret alone, on one line");
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
        (status.st_mode & S_IROTH) != 0)
        std::fprintf(stderr,
                     "velmora: every user of this machine can read \"%s\"; run chmod 600 on it\n",
                     visible(path).c_str());
    return line;
}

} // namespace

void addSecretOptions(CLI::App &command, std::optional<std::string> &secret,
                      const std::string &description) {
    command.add_option("--secret", secret, description)
        ->type_name("SECRET")
        ->envname("VELMORA_SECRET");
    command
        .add_option_function<std::string>(
            "--secret-file", [&secret](const std::string &path) { secret = firstLineOf(path); },
            "File whose first line is the secret")
        ->type_name("FILE");
}

void warnOfSecret(int argc, const char *const *argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--secret" || argument.starts_with("--secret="))
            std::fputs("velmora: every user of this machine can read what follows --secret; give "
                       "--secret-file FILE or the variable VELMORA_SECRET instead\n",
                       stderr);
    }
}

} // namespace velmora
