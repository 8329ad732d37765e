#pragma once

#include "fleet/Figures.h"
#include "fleet/Profile.h"
#include "fleet/Random.h"
#include "fleet/Sender.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <queue>

namespace velmora::fleet {

struct SimulationOptions {
    std::string address;
    std::string apiKey;
    std::string secret;
    std::string certificates;
    std::uint32_t devices = 1000;
    Profile profile;
    double days = 1;
    /// Simulated seconds in one real second.
    double speedUp = 1440;
    /// Hours since the start in which no device has a network.
    std::optional<Span> outage;
    std::uint64_t seed = 1;
    std::size_t connections = 64;
    /// Where the "eventId" of each event that was answered with 200 is written; null: nowhere.
    std::FILE *acknowledged = nullptr;
};

/// A fleet's days: each device changes consents, comes back to the foreground, and posts what waits
/// with both, as the SDK does: no retry, one request at a time.
class Simulation {
public:
    explicit Simulation(SimulationOptions options);

    /// False once it is over.
    bool step();
    /// From 0 to 1.
    double progress() const;
    void stop() { isStopped_ = true; }

    const Figures &figures() const { return figures_; }
    std::uint64_t waiting() const { return waiting_; }

private:
    struct Due {
        double at;
        std::uint32_t device;
        bool isChange;
        bool operator>(const Due &other) const { return at > other.at; }
    };
    struct Device {
        Random random{0};
        bool isPosting = false;
        double postedAt = 0;
        /// What came due while it posted.
        std::vector<Due> late;
        /// Sent at least once.
        std::size_t sent = 0;
        std::vector<ConsentChange> changes;
    };

    double now() const;
    void schedule(std::uint32_t device, bool isChange, double from);
    void happen(const Due &due);
    void post(std::uint32_t device, double at);
    void ended(std::uint32_t device, int status, double seconds, const WireRequest &request);
    Identity identityOf(std::uint32_t device) const;

    const SimulationOptions options_;
    const double end_;
    const double startDate_;
    std::chrono::steady_clock::time_point begin_;
    SdkRequests requests_;
    Figures figures_;
    std::vector<Device> devices_;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
    std::uint64_t waiting_ = 0;
    bool isStopped_ = false;
    Sender sender_;
};

} // namespace velmora::fleet
