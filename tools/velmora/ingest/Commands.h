#pragma once

#include "ingest/Answers.h"

#include <nlohmann/json.hpp>

#include <optional>

namespace velmora::ingest {

/// Carries out one command line and returns the line to answer it with; empty for `quit`.
std::optional<nlohmann::ordered_json> runCommand(const std::string &line, Answers &answers);

/// Reads commands from standard input and carries them out until `quit`, SIGINT or SIGTERM. The end
/// of the input ends the commands alone, so that a service without a terminal goes on serving.
/// Both signals must be blocked in every thread.
void serveCommands(Answers &answers);

} // namespace velmora::ingest
