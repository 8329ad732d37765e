#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace velmora::fleet {

/// What happened in a piece of the simulated time.
struct Slice {
    std::uint64_t attempts = 0;
    std::uint64_t accepted = 0;
    std::uint64_t events = 0;
    std::uint64_t bytes = 0;
    /// Events that wait on devices, at the end.
    std::uint64_t waiting = 0;
};

/// What a run has shown.
class Figures {
public:
    static constexpr std::size_t slices = 144;

    explicit Figures(double simulatedSeconds) : simulated_(simulatedSeconds) {}

    void made() { ++made_; }
    void offline(double at) { ++slice(at).attempts, ++offline_; }
    /// `resent`: events of an earlier request whose end the device did not see as a success.
    void sent(double at, std::size_t bytes, std::size_t resent);
    void answered(double at, int status, double seconds, std::size_t events);
    void waiting(double at, std::uint64_t events) { slice(at).waiting = events; }

    std::uint64_t requests() const { return requests_; }
    std::uint64_t acceptedEvents() const { return acceptedEvents_; }
    const std::vector<Slice> &slicesOfRun() const { return slices_; }
    double secondsOfSlice() const { return simulated_ / slices; }

    /// `took`: seconds of real time.
    nlohmann::ordered_json asJson(std::uint32_t devices, double took,
                                  std::uint64_t waitingAtEnd) const;
    std::vector<float> sortedLatencies() const;

private:
    Slice &slice(double at);

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

/// The value below which so much of the sorted values lies.
double percentile(const std::vector<float> &sorted, double share);

} // namespace velmora::fleet
