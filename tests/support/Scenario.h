#pragma once

#include <functional>
#include <string>

namespace vmr::test {

/// Plays a scenario: a text whose lines that begin with "> " are commands, each followed by what
/// was seen. Fails, as a program's exit status, where anything else is seen than was recorded. With
/// VELMORA_RECORD in the environment the text is written anew.
int playScenario(const char *path, const std::function<std::string(const std::string &)> &run);

} // namespace vmr::test
