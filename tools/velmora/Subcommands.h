#pragma once

#include "Subcommand.h"

namespace velmora {

void addRun(CLI::App &app);
void addIngest(CLI::App &app);
void addPrefs(CLI::App &app);
void addDoctor(CLI::App &app);
void addTcf(CLI::App &app);
#ifdef VELMORA_HAS_COLLECTOR
void addCollect(CLI::App &app);
void addFleet(CLI::App &app);
#endif

/// Every subcommand, in the order in which the help shows them.
inline constexpr AddSubcommand *subcommands[] = {
    addRun,     addIngest, addPrefs, addDoctor, addTcf,
#ifdef VELMORA_HAS_COLLECTOR
    addCollect, addFleet,
#endif
};

} // namespace velmora
