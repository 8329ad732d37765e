#pragma once

#include "collect/HttpServer.h"
#include "collect/MakeSink.h"
#include "ingest/Endpoint.h"

#include <string>

namespace velmora::collect {

/// What the command line asked for.
struct CollectorOptions {
    ingest::Endpoint listen;
    ingest::Endpoint status;
    HttpOptions http;
    SinkOptions sink;
    std::string keys;
    std::string quarantine;
};

/// Collects until SIGINT or SIGTERM, and answers every request that came before it. Throws
/// std::runtime_error with a sentence that says what hinders it.
void runCollector(CollectorOptions options);

} // namespace velmora::collect
