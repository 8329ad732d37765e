#pragma once

#include "collect/Sink.h"

#include <memory>

namespace velmora::collect {

bool isCluster(std::string_view place);
/// Throws SinkTrouble.
std::unique_ptr<Sink> makeSink(const SinkOptions &options);

} // namespace velmora::collect
