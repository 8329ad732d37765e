#pragma once

#include "ingest/Answers.h"
#include "ingest/Request.h"

#include <nlohmann/json.hpp>

#include <cstdint>

namespace velmora::page {

/// A consent event as a request carried it.
struct Event {
    std::string id;
    /// As it was sent.
    std::string date;
    /// Empty: the item holds none.
    std::optional<std::string> consent;
};

/// What came with a request and what became of it. Never changed once it is kept.
struct Exchange {
    /// 1 is the first since the service started or the recording began.
    std::uint64_t number = 0;
    /// Milliseconds since 1970.
    std::int64_t time = 0;
    ingest::Request request;
    /// Why it was refused before it was looked at; else empty.
    std::string refusal;
    /// Without its body.
    ingest::Answer answer;
    bool isDelivered = false;
    /// What the SDK does after the answer.
    std::string consequence;
    /// What was found when it came: the secret that it takes to find it again is not recorded.
    std::string signature;

    /// Names the device; empty when the request names none.
    std::string device;
    std::vector<Event> events;
    /// A row of the list.
    nlohmann::ordered_json summary;
};

} // namespace velmora::page
