#pragma once

#include "collect/Sink.h"

#include <memory>

namespace velmora::collect {

struct SinkOptions {
    /// A file, or addresses of a cluster.
    std::string place;
    /// Of the cluster's stream.
    int replicas = 3;
    double windowInHours = 168;
};

bool isCluster(std::string_view place);
/// Throws SinkTrouble.
std::unique_ptr<Sink> makeSink(const SinkOptions &options);

} // namespace velmora::collect
