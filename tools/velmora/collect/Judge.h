#pragma once

#include "collect/Sink.h"

namespace velmora::collect {

/// What a request is to be answered with before the sink has seen it.
struct Judgement {
    /// 200: everything depends on the sink.
    int status = 200;
    std::string why;
    Delivery delivery;
};

/// Looks into a request whose signature is right. What a proxy may add to a request, or take from
/// it, is no reason to refuse it.
Judgement judge(const ingest::Request &request, ingest::Kind kind);

} // namespace velmora::collect
