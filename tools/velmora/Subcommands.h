#pragma once

#include "Subcommand.h"

namespace velmora {

void addRun(CLI::App &app);
void addIngest(CLI::App &app);
void addPrefs(CLI::App &app);
void addDoctor(CLI::App &app);

/// Every subcommand, in the order in which the help shows them.
inline constexpr Subcommand subcommands[] = {
    {"run", addRun},
    {"ingest", addIngest},
    {"prefs", addPrefs},
    {"doctor", addDoctor},
};

} // namespace velmora
