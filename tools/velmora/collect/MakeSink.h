#pragma once

#include "collect/Sink.h"

#include <memory>

namespace velmora::collect {

bool isCluster(std::string_view place);
/// For people: without the passwords that a cluster's addresses may hold.
std::string shownPlace(std::string place);
/// Throws SinkTrouble.
std::unique_ptr<Sink> makeSink(const SinkOptions &options);

} // namespace velmora::collect
