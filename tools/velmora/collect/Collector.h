#pragma once

#include "collect/HttpServer.h"
#include "ingest/Endpoint.h"

#include <string>

namespace velmora::collect {

/// What the command line asked for.
struct CollectorOptions {
    ingest::Endpoint listen;
    ingest::Endpoint status;
    HttpOptions http;
    /// A file, or the addresses of a cluster.
    std::string sink;
    std::string keys;
    std::string quarantine;
    /// Of the cluster's stream.
    int replicas = 3;
    double windowInHours = 0;
};

/// Collects until SIGINT or SIGTERM, and answers every request that came before it. Throws
/// std::runtime_error with a sentence that says what hinders it.
void runCollector(CollectorOptions options);

} // namespace velmora::collect
