#pragma once

#include "ingest/Answers.h"
#include "ingest/Endpoint.h"
#include "ingest/Request.h"
#include "ingest/Server.h"

#include <optional>
#include <string>

namespace velmora::ingest {

/// What the command line asked for.
struct SessionOptions {
    ServerOptions server;
    Credentials credentials;
    Answer answer;
    /// Nothing: no page.
    std::optional<Endpoint> page;
    /// Events to wait for, and for how many seconds.
    std::optional<std::size_t> expected;
    double timeout = 0;
    /// Files; empty: none.
    std::string recording;
    std::string replay;
};

/// Puts the parts together, serves until told to end, and ends the process. Throws
/// std::runtime_error with a sentence that says what hinders it.
[[noreturn]] void runSession(const SessionOptions &options);

} // namespace velmora::ingest
