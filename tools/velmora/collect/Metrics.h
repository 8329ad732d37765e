#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

namespace velmora::collect {

/// How long something took, as counts of at most so many seconds. From any thread.
class Histogram {
public:
    void add(std::chrono::duration<double> time);
    std::string text(const std::string &name, const std::string &help) const;

private:
    static constexpr std::array bounds = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                          0.25,  0.5,    1.0,   2.5,  5.0,   10.0};
    std::array<std::atomic<std::uint64_t>, bounds.size() + 1> counts_{};
    std::atomic<std::uint64_t> microseconds_{0};
};

/// What the collector counts. From any thread.
struct Metrics {
    using Count = std::atomic<std::uint64_t>;

    static constexpr std::array statuses = {200, 400, 401, 404, 405, 413, 503};
    std::array<Count, statuses.size()> answers{};
    /// Requests that ended without an answer of the collector's own.
    Count unreadable{0};
    Count tooSlow{0};
    Count eventsAdded{0};
    Count eventsKnown{0};
    Count bytesReceived{0};
    Count sinkFailures{0};
    Count connections{0};
    Count openRequests{0};
    Count bytesHeld{0};
    Histogram requestSeconds;
    Histogram commitSeconds;

    void answered(int status);
    /// In the Prometheus text format.
    std::string text() const;
};

} // namespace velmora::collect
