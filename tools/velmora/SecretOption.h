#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace velmora {

/// The option --secret, the environment variable that stands for it, and --secret-file, which wins.
void addSecretOptions(CLI::App &command, std::optional<std::string> &secret,
                      const std::string &description);
/// On standard error, where an argument is the secret itself.
void warnOfSecret(int argc, const char *const *argv);

} // namespace velmora
