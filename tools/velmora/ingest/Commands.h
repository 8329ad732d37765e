#pragma once

#include "ingest/Answers.h"
#include "ingest/Expectation.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>

namespace velmora::ingest {

/// What commands work on; the terminal's and the page's are the same.
struct Controls {
    Answers &answers;
    /// Forgets the requests that the page shows.
    std::function<void()> clear;
};

/// Carries out one command line and returns the line to answer it with; empty for `quit`.
std::optional<nlohmann::ordered_json> runCommand(const std::string &line, Controls &controls);

/// Reads commands from standard input and carries them out until `quit`, SIGINT or SIGTERM, or
/// until the expectation has its answer; it may be null. The end of the input ends the commands
/// alone, so that a service without a terminal goes on serving. Both signals must be blocked in
/// every thread.
void serveCommands(Controls &controls, const Expectation *expectation);

} // namespace velmora::ingest
