#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::fleet {

/// What happened in a piece of the simulated time.
struct Slice {
    std::uint64_t attempts = 0;
    std::uint64_t accepted = 0;
    std::uint64_t events = 0;
    std::uint64_t bytes = 0;
    /// Events that wait on devices, at the end; nothing when nothing happened.
    std::optional<std::uint64_t> waiting;
};

/// Hours since the begin.
using Span = std::pair<double, double>;

/// What a run has shown.
class Figures {
public:
    explicit Figures(double simulatedSeconds) : simulated_(simulatedSeconds) {}

    void made() { ++made_; }
    void offline(double at) { ++slice(at).attempts, ++offline_; }
    /// `resent`: events of an earlier request whose end the device did not see as a success.
    void sent(double at, std::size_t bytes, std::size_t resent);
    void answered(double at, int status, double seconds, std::size_t events);
    void waiting(double at, std::uint64_t events) { slice(at).waiting = events; }

    std::uint64_t requests() const { return requests_; }
    std::uint64_t acceptedEvents() const { return acceptedEvents_; }

    /// `took`: seconds of real time; `outage`: when no device had a network.
    nlohmann::ordered_json asJson(std::uint32_t devices, double took, std::uint64_t waitingAtEnd,
                                  const std::optional<Span> &outage) const;

private:
    static constexpr std::size_t slices = 144;

    double secondsOfSlice() const { return simulated_ / slices; }
    Slice &slice(double at);
    nlohmann::ordered_json latencies() const;
    nlohmann::ordered_json curve() const;

    double simulated_;
    std::vector<Slice> slices_ = std::vector<Slice>(slices);
    std::map<int, std::uint64_t> statuses_;
    std::vector<float> latencies_;
    std::uint64_t made_ = 0;
    std::uint64_t offline_ = 0;
    std::uint64_t requests_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t resent_ = 0;
    std::uint64_t acceptedEvents_ = 0;
};

} // namespace velmora::fleet
