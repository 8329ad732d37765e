#pragma once

#include "collect/Sink.h"

namespace velmora::collect {

/// Looks into a request whose signature is right. The result says why it will never be right; it is
/// empty where everything depends on the sink, with the delivery filled. What a proxy may add to a
/// request, or take from it, is no reason to refuse it.
std::string judge(const ingest::Request &request, ingest::Kind kind, Delivery &delivery);

} // namespace velmora::collect
