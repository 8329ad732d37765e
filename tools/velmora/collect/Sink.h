#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::collect {

/// An item of a batch.
struct Event {
    /// 64 lower-case hexadecimal digits: the item's "eventId", or the digest of an error entry.
    std::string identifier;
    /// The item's date; empty where it has none.
    std::string date;
    /// The consent, for the most part a string; or an error entry. As JSON where it is no string:
    /// a tree would take thirty times as much memory.
    std::string content;
    enum class Form { text, null, json } form = Form::text;
};

/// What a sound request brought.
struct Delivery {
    ingest::Kind kind = ingest::Kind::Consents;
    std::string apiKey;
    /// A UUID in upper case.
    std::string device;
    /// The entries beside "batch", as JSON.
    std::string envelope;
    std::vector<Event> events;
    /// Milliseconds since 1970.
    std::int64_t arrival = 0;
    /// As received.
    std::size_t bytes = 0;
    std::size_t unpackedBytes = 0;
    std::string peer;
};

struct SinkOptions {
    /// A file, or "nats://HOST:PORT" of a cluster, several with commas between them.
    std::string place;
    /// Of a cluster's stream that is made now; one that is there is taken as it is.
    int replicas = 3;
    double windowInHours = 168;
};

/// Why nothing of a batch counts as stored: a sentence.
class SinkTrouble : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where events are kept for good. One thread stores.
class Sink {
public:
    virtual ~Sink() = default;
    /// Why the sink will never take it, a sentence; empty when it may. From any thread.
    virtual std::string refusalOf(const Delivery & /*delivery*/) const { return {}; }
    /// Returns when every event is durable; an event that is there already is kept as it is. The
    /// result tells for each delivery how many of its events are new. Throws SinkTrouble; then any
    /// part of the batch may be there, and is known when it comes again.
    virtual std::vector<std::size_t> store(std::span<const Delivery *const> deliveries) = 0;
};

inline std::string_view nameOf(ingest::Kind kind) {
    return kind == ingest::Kind::Consents ? "consent" : "error";
}

} // namespace velmora::collect
